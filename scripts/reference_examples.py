"""The examples of the reference pages, as docs/reference*.examples have them.

A line that begins at the margin names a function or view, and may add "@ PLACE", a part of the SQL
or a heading, for the one of that name there. Below it, indented, each example is a line, several statements
separated by "; ", and then what the last one gives, each line after "= ". scripts/check_examples
runs them on the pages.
"""
import glob
import re
import sys

SOURCE = "docs/reference*.examples"


def lines():
    for path in sorted(glob.glob(SOURCE)):
        with open(path, encoding="utf-8") as file:
            yield from (line for line in file.read().splitlines()
                        if line.strip() and not line.startswith("#"))


def read():
    """(name, place or "") -> the examples, as (statements, result)."""
    found, key = {}, None
    for line in lines():
        if not line[0].isspace():
            name, _, place = line.partition(" @ ")
            key = (name.strip(), place.strip())
            if key in found:
                sys.exit(f"{SOURCE}: {line} is there twice")
            found[key] = []
        elif line.startswith("    = "):
            found[key][-1][1].append(line[6:])
        elif line.strip() == "=":
            found[key][-1][1].append("")
        else:
            found[key].append((line.strip(), []))
    return {key: [(statements, "\n".join(result)) for statements, result in examples]
            for key, examples in found.items()}


def shown(statements, result):
    """An example as Markdown: what it gives stands beside it, on several lines below it."""
    if "\n" in result:
        return f"`{statements}` →\n```text\n{result}\n```\n"
    return f"`{statements}` → `{result}`\n"


class Examples:
    """Hands the examples out and knows which nobody asked for, and who asked in vain."""

    def __init__(self):
        self.left = read()
        self.lacking = []

    def of(self, name, *places):
        """The examples of a function or view in a part, below a heading, as Markdown."""
        keys = [(name, place) for place in (*places, "") if (name, place) in self.left]
        examples = self.left.pop(keys[0]) if keys else []
        word = re.compile(rf"(?<![\w.]){re.escape(name)}\b")
        if not any(result and word.search(statements) for statements, result in examples):
            self.lacking.append(name)
        return "".join("\n" + shown(*example) for example in examples)

    def check(self):
        if self.lacking:
            sys.exit(f"{SOURCE} lacks an example for " + ", ".join(self.lacking))
        if self.left:
            sys.exit(f"{SOURCE}: no such function: " + ", ".join(name for name, _ in self.left))

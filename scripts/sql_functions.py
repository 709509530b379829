"""The functions as sql/parts declares them, for whoever makes something from the declarations.

usage: scripts/sql_functions.py header | own_signatures | package_signatures     (to the output)

header              C++ declarations of the entries, and the list of the functions in long names
own_signatures      the functions in long names, as the programs of calls under fuzz/ call them
package_signatures  the same of what the packages add
"""
import collections
import glob
import itertools
import os
import re
import sys

FUNCTION = re.compile(r"CREATE\s+(?:OR\s+REPLACE\s+)?FUNCTION\s+([\w.]+)\s*\((.*?)\)\s*RETURNS\s+"
                      r"([\w. \[\]]+?|TABLE\s*\(.*?\))\s+"
                      r"(?=AS\b|LANGUAGE\b|VOLATILE\b|IMMUTABLE\b|STABLE\b|STRICT\b)"
                      r"(.*?);", re.DOTALL | re.IGNORECASE)
ENTRY = re.compile(r"AS\s+'MODULE_PATHNAME',\s*'(\w+)'")
SOURCE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")

# part: the file's name; entry: the C symbol, None for what is written in SQL; `rest`: what follows
# the result.
Function = collections.namedtuple("Function", "part name arguments result rest entry")


def plain(arguments):
    return re.sub(r"\s+", " ", arguments).strip()


def is_support(arguments, result, rest):
    """What types are made of, and casts and operators: nobody calls it by name."""
    return (re.search(r"LANGUAGE\s+internal", rest, re.IGNORECASE) is not None
            or any(word in ("cstring", "internal") for word in plain(arguments).split())
            or plain(result) in ("cstring", "internal")
            or re.search(r"\w+_send$", plain(result)) is not None)


def functions_of(sql, part=""):
    """All functions that an SQL text declares, in its order."""
    found = []
    for name, arguments, result, rest in FUNCTION.findall(sql):
        entry = ENTRY.search(rest)
        if entry is None and "MODULE_PATHNAME" in rest:
            sys.exit(f"{part}: {name} does not name its entry")
        found.append(Function(part, name, plain(arguments), plain(result).lower(), rest,
                              entry.group(1) if entry else None))
    if len(found) != len(re.findall(r"^\s*CREATE\s+(?:OR\s+REPLACE\s+)?FUNCTION\b", sql,
                                    re.MULTILINE | re.IGNORECASE)):
        sys.exit(f"{part}: a function was not understood")
    return found


def all_functions():
    found = []
    for path in sorted(glob.glob(os.path.join(SOURCE, "sql", "parts", "*.sql"))):
        with open(path, encoding="utf-8") as file:
            found.extend(functions_of(file.read(), os.path.basename(path)))
    return found


def is_long_named(function):
    """One of the functions in long names over raw; the parts of their areas are below 60."""
    return function.part < "60" and function.entry == function.name


def arguments_of(function):
    """(name, type) of each argument; a type alone has the name ""."""
    found = []
    for argument in filter(None, function.arguments.split(",")):
        words = re.split(r"\s+default\s|\s*=", argument.strip(), flags=re.IGNORECASE)[0].split()
        if words[0].upper() in ("IN", "VARIADIC"):
            del words[0]
        found.append((words[0] if len(words) > 1 else "", words[-1].lower()))
    return found


# --- the header ---------------------------------------------------------------------------------

# Entries of the binding to PostgreSQL: the standalone host has none of them.
def is_of_the_server(function):
    return function.entry.startswith("xml_dom_directory_")


def header():
    functions = [function for function in all_functions() if function.entry]
    counts = {}
    for function in filter(is_long_named, functions):
        counts.setdefault(function.name, []).append(len(arguments_of(function)))
    lines = ["// Made by scripts/sql_functions.py from sql/parts.", "#pragma once", "",
             '#include "host/call.hpp"', "",
             "// X(name, fewest arguments, most arguments) for each function in long names",
             "#define PKG_DBE_XML_FOR_EACH_FUNCTION(X) \\"]
    lines += [f"    X({name}, {min(number)}, {max(number)}) \\" for name, number in counts.items()]
    lines += ["", "// Everything that SQL calls.", 'extern "C" {']
    entries = dict.fromkeys(function.entry for function in functions
                            if not is_of_the_server(function))
    lines += [f"host::datum {entry}(host::call_record *record);" for entry in entries]
    return "\n".join(lines + ["}"]) + "\n"


# --- signatures for programs of calls -----------------------------------------------------------
# The letters are those of fuzz/support_signatures.hpp.

TYPE_LETTERS = {
    "xml": "m", "integer": "i", "boolean": "b", "oid": "o",
    "xmldom.node": "N", "xmldom.text_node": "T", "xmldom.document": "D", "xmldom.element": "E",
    "xmldom.attr": "A", "xmldom.node_list": "L", "xmldom.named_node_map": "M",
    "xmlparser.parser": "P", "xmldom.scope": "S", "xmldom.node[]": "V",
}
RAW_LETTERS = {"document": "d", "element": "e", "attribute": "a", "parser": "p", "list": "l",
               "map": "l", "collection": "l"}  # by the argument's name; h of others
TEXT_LETTERS = {"document": "x", "namespace_uri": "u", "character_set": "c", "charset": "c",
                "file": "f", "name": "n", "tag_name": "n", "qualified_name": "n",
                "local_name": "n", "target": "n", "prefix": "n", "root": "n", "uri": "u",
                "path": "q"}  # v of others
RESULT_LETTERS = {
    "void": None, "text": "t", "bytea": "t", "integer": "i", "oid": "i", "boolean": "b",
    "xmldom.node": "h", "xmldom.text_node": "h", "xmldom.document": "d", "xmldom.element": "e",
    "xmldom.attr": "a", "xmldom.node_list": "l", "xmldom.named_node_map": "l",
    "xmlparser.parser": "p", "xmldom.scope": "S",
}
# What the functions that give raw give, by their names; h of others.
RAW_RESULTS = ((r"new_document|get_doc$", "d"), (r"new_parser", "p"),
               (r"child_nodes|get_attributes|children_by|elements_by", "l"),
               (r"attribute_node|create_attribute|make_attr$", "a"),
               (r"create_element|document_element|make_element", "e"))
# Called once in so many times that they are chosen: they read, or free, everything there is.
RARITIES = {"xml_dom_get_doc_trees_info": 8, "xmldom.release": 3, "xmldom.free_all": 24}
# Their results depend on the machine or on the order of a table. So do those of functions that take
# or give files or large objects.
OF_THE_MACHINE = {"xml_dom_get_doc_trees_info", "xml_dom_get_memory_info", "xmldom.release",
                  "xmldom.free_all"}
# What no program calls, and why.
NOT_PLAYED = {
    "xmldom.to_bytea": "gives bytes in any encoding, which the hosts show each in its own way",
    "xmldom.to_xml": "an XML value is shown without its declaration",
    "xmldom.describe_documents": "tells the time",
    "xmldom.describe_sessions": "tells of the host's other sessions",
    "xmlparser.get_complaints": "its rows have several columns; tests/unit/test_parser_complaints.cpp calls it",
    "xmldom.xpath_number": "a number with a fraction is shown by each host in its own way",
} | dict.fromkeys(
    ("xmldom.rows", "xmldom.rows_of_text", "xmlparser.rows"),
    "the statement lists the columns; fuzz/support_signatures.cpp has calls with some") | dict.fromkeys(
    ("xmlparser.open_stream", "xmlparser.feed", "xmlparser.next_record", "xmlparser.is_complete",
     "xmlparser.record_number", "xmlparser.close_stream"),
    "a stream ends with its statement there; fuzz/support_signatures.cpp has one statement for a "
    "stream, fuzz/fuzz_streams plays them")


def is_played(function):
    """Programs have no bytes to pass."""
    return (function.name not in NOT_PLAYED
            and not any(type_name == "bytea" for _, type_name in arguments_of(function)))


def argument_letter(function, name, type_name):
    if type_name == "raw":
        return RAW_LETTERS.get(name, "h")
    if type_name == "text":
        return TEXT_LETTERS.get(name, "v")
    letter = TYPE_LETTERS.get(type_name)
    if letter is None:
        sys.exit(f"{function.part}: no program of calls can make an argument of type {type_name} "
                 f"for {function.name}: teach fuzz/support_program.cpp and scripts/sql_functions.py "
                 "to, or say in NOT_PLAYED why not")
    return letter


def result_letter(function):
    if function.result.startswith("setof ") and function.result[6:] in TYPE_LETTERS:
        return "t"  # the rows of a set of handles as one text
    if function.result == "raw":
        return next((letter for pattern, letter in RAW_RESULTS
                     if re.search(pattern, function.name)), "h")
    if function.result not in RESULT_LETTERS:
        sys.exit(f"{function.part}: no program of calls can read the result of {function.name}: "
                 f"{function.result}")
    return RESULT_LETTERS[function.result]


def letters_of(function):
    """The letters of all arguments, and those of the shorter calls that leave out what is null, or
    what stands for null."""
    arguments = list(zip(arguments_of(function), function.arguments.split(",")))
    # From an array of texts on, everything is left out.
    arguments = list(itertools.takewhile(lambda each: each[0][1] != "text[]", arguments))
    shapes = ["".join(argument_letter(function, *argument) for argument, _ in arguments)]
    for _, argument in reversed(arguments):
        if not re.search(r"(default\s+|=\s*)(null(::\w+)?|0|'keep')\s*$", argument, re.IGNORECASE):
            break
        shapes.append(shapes[-1][:-1])
    return reversed(shapes)


def signature(function, letters):
    """(of the machine, C++ text)."""
    of_the_machine = (function.name in OF_THE_MACHINE or "f" in letters or "o" in letters
                      or function.result == "oid")
    result = result_letter(function)
    strict = "true" if re.search(r"\bSTRICT\b", function.rest) else "false"
    begin, entry, rows, end = function.name + "(", function.entry, "nullptr", ")"
    if function.result.startswith("setof "):
        begin = f"(select string_agg(found::raw::text, ' ') from {begin}"
        entry, rows, end = "nullptr", f"rows_of<{function.entry}>", ") as found)"
    if function.result == "bytea":  # in UTF-8
        begin, end = f"convert_from({begin}", "), 'UTF8')"
    text = (f'signature{{"{begin}", {entry}, "{letters}", ' + (f"'{result}'" if result else "0")
            + f', {strict}, {RARITIES.get(function.name, 1)}, {rows}, "{end}", '
            + ("true" if of_the_machine else "false") + "},")
    return of_the_machine, text


def signatures(of_the_packages):
    """Those that depend on the machine come last. The packages add what calls an entry of its own
    or an entry with other arguments."""
    lines, seen = ([], []), set()
    for function in all_functions():
        if (function.entry is None or is_of_the_server(function) or not is_played(function)
                or is_support(function.arguments, function.result, function.rest)):
            continue
        long_named = is_long_named(function)
        for letters in letters_of(function):
            of_the_machine, text = signature(function, letters)
            shape = (function.entry, len(letters))
            if long_named != of_the_packages and (long_named or shape not in seen):
                lines[of_the_machine].append(text)
            if long_named:
                seen.add(shape)
    return "\n".join(["// Made by scripts/sql_functions.py from sql/parts."] + lines[0] + lines[1]) + "\n"


def main():
    made = {"header": header, "own_signatures": lambda: signatures(False),
            "package_signatures": lambda: signatures(True)}
    if len(sys.argv) != 2 or sys.argv[1] not in made:
        sys.exit(__doc__)
    sys.stdout.write(made[sys.argv[1]]())


if __name__ == "__main__":
    main()

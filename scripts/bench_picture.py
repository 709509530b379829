"""Draws docs/pictures/bench.svg from the table of docs/performance.md: a bar for each work and each
other means to the same end, as long as the time that the library takes of the other's."""
import html
import os
import re

PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "docs", "performance.md")
# Work, ours, the other's name and figure, the ratio of the two.
ROW = re.compile(r"^\| (.*?) ?\| ([\d.]+) \| (.*?) ([\d.]+) \| ([\d.]+) \|", re.MULTILINE)
# Yardsticks of the benchmark's own, and no means to an end.
LEFT_OUT = ("limit", "do-nothing C function")
TEXT_WIDTH, BAR_WIDTH, ROW_HEIGHT, HEAD = 560, 300, 24, 46


def comparisons():
    """(work, other means, ratio) in the order of the table; a row without a work goes on with the last."""
    with open(PAGE, encoding="utf-8") as file:
        page = file.read()
    work, found = "", []
    for name, _, other, _, ratio in ROW.findall(page):
        work = name or work
        if other not in LEFT_OUT and "memory" not in work:
            found.append((work.replace("`", ""), other.replace("`", ""), float(ratio)))
    return found


def text(x, y, content, anchor="start", colour="#1d2b44", weight="normal"):
    return (f'<text x="{x}" y="{y}" text-anchor="{anchor}" fill="{colour}" '
            f'font-weight="{weight}">{html.escape(content)}</text>')


def picture():
    rows = comparisons()
    height = HEAD + ROW_HEIGHT * len(rows) + 14
    width = TEXT_WIDTH + BAR_WIDTH + 60
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
             'font-family="Helvetica, Arial, sans-serif" font-size="12">',
             '<!-- Made by scripts/make_docs from the table in docs/performance.md. -->',
             f'<rect width="{width}" height="{height}" fill="white"/>',
             text(10, 20, "Time of the library, where the other means takes 1", weight="bold"),
             text(TEXT_WIDTH + BAR_WIDTH, 20, "1", "middle")]
    for index, (work, other, ratio) in enumerate(rows):
        top = HEAD + ROW_HEIGHT * index
        lines += [text(10, top + 12, f"{work}, beside {other}"),
                  f'<rect x="{TEXT_WIDTH}" y="{top}" width="{BAR_WIDTH}" height="16" fill="#e6e9ef"/>',
                  f'<rect x="{TEXT_WIDTH}" y="{top}" width="{round(min(ratio, 1) * BAR_WIDTH)}" height="16" '
                  'fill="#4a78b5"/>',
                  text(TEXT_WIDTH + BAR_WIDTH + 10, top + 12, f"{ratio:.2f}")]
    return "\n".join(lines) + "\n</svg>\n"

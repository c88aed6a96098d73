"""Takes the code that a page of the documentation marks as run.

    extract_snippets.py PAGE.md FOLDER

A line "<!-- run: NAME -->" ahead of a fenced block makes FOLDER/NAME.inc of the block, with its
place in the page, so that a compiler's message names the page. A mark without a block is an error,
and so is a page without a mark: then nothing would be tested.
"""
import io
import os
import re
import sys


def snippets(page):
    name = None
    block = None
    with io.open(page, encoding="utf-8") as lines:
        for number, line in enumerate(lines, 1):
            mark = re.match(r"<!-- run: ([a-z_]+) -->\s*$", line)
            if mark:
                if name:
                    sys.exit("%s:%d: the mark %s has no code" % (page, number, name))
                name = mark.group(1)
            elif line.startswith("```"):
                if block is not None:
                    yield name, block
                    name = block = None
                elif name:
                    block = ['#line %d "%s"\n' % (number + 1, page.replace("\\", "/"))]
            elif block is not None:
                block.append(line)
            elif name and line.strip():
                sys.exit("%s:%d: the mark %s has no code" % (page, number, name))
    if name:
        sys.exit("%s: the mark %s has no code" % (page, name))


def main(page, folder):
    if not os.path.isdir(folder):
        os.makedirs(folder)
    seen = set()
    for name, block in snippets(page):
        if name in seen:
            sys.exit("%s: two blocks are marked %s" % (page, name))
        seen.add(name)
        with io.open(os.path.join(folder, name + ".inc"), "w", encoding="utf-8") as out:
            out.writelines(block)
    if not seen:
        sys.exit("%s: no code is marked as run" % page)


main(*sys.argv[1:])

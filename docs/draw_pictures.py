"""Draws the pictures of docs/inside.md from the sources, so that they cannot go stale, and checks the
page's table of where things are: draw_pictures.py FOLDER

Writes FOLDER/NAME.dot. Fails when it finds less than each picture must show, or when a row of the
table names a file without the word that the row promises there.
"""
import collections
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LIBRARY = ROOT / 'zrpythoninterp'
PAGE = (ROOT / 'docs' / 'inside.md').read_text(encoding='utf-8')

HOST, RUNTIME, OURS = '#f6f1e7', '#eaf4ea', '#eef3f8'
STYLE = '''digraph {name} {{
  graph [rankdir={direction}, fontname="sans-serif", pad=0.2, nodesep=0.3, ranksep=0.7]
  node [shape=box, style="rounded,filled", fillcolor="''' + OURS + '''", color="#5b7083",
        fontname="sans-serif", fontsize=11, margin="0.18,0.09"]
  edge [color="#5b7083", fontname="sans-serif", fontsize=9]
'''


class Picture:
    def __init__(self, name, direction):
        self.name = name
        self.text = STYLE.format(name=name, direction=direction)
        self.nodes = 0

    def node(self, name, label, fill=OURS):
        self.nodes += 1
        label = label.replace('"', '\\"').replace('\n', '\\n')
        self.text += '  "%s" [label="%s", fillcolor="%s"]\n' % (name, label, fill)

    def edge(self, start, end, more=''):
        self.text += '  "%s" -> "%s" [%s]\n' % (start, end, more)

    def group(self, name, label, nodes):
        label = label.replace('"', '\\"')
        self.text += '  subgraph cluster_%s { label="%s"; fontsize=11; style=rounded; ' \
                     'color="#9aa9b5"; %s }\n' % (name, label, ' '.join('"%s";' % n for n in nodes))

    def write(self, folder, least):
        if self.nodes < least:
            sys.exit('%s: %d nodes found, not %d' % (self.name, self.nodes, least))
        (folder / (self.name + '.dot')).write_text(self.text + '}\n', encoding='utf-8')


def code_of(path):
    return re.sub(r'//[^\n]*', '', path.read_text(encoding='utf-8'))


FILES = {str(path.relative_to(LIBRARY)).replace('\\', '/'): code_of(path)
         for path in sorted(LIBRARY.glob('*/*')) if path.suffix in ('.h', '.cpp')}


def first_sentence(file):
    """What a file says of itself, in lines for a box."""
    comment = []
    for line in (LIBRARY / file).read_text(encoding='utf-8').splitlines():
        if not line.startswith('//'):
            break
        comment.append(line.lstrip('/ '))
    words, lines = ' '.join(comment).split('. ')[0].rstrip('.').split(), ['']
    for word in words:
        if len(lines[-1]) + len(word) > 34:
            lines.append('')
        lines[-1] += (' ' if lines[-1] else '') + word
    return '\n'.join(lines)


def using(pattern):
    """The files in which a pattern occurs."""
    return [file for file, code in FILES.items() if re.search(pattern, code)]


def box(picture, file, fill=OURS):
    picture.node(file, file + '\n' + first_sentence(file), fill)


def rooms(folder):
    picture = Picture('rooms', 'RL')
    includes = collections.defaultdict(set)
    for file, code in FILES.items():
        room = file.split('/')[0]
        includes[room] |= set(re.findall(r'#include <zrpythoninterp/(\w+)/', code)) - {room}

    def reach(room):
        return set().union(*[reach(other) | {other} for other in includes[room]], set())

    for room in sorted({file.split('/')[0] for file in FILES}):
        told = re.search(r'^- \*\*%s\*\* (.*?)\.\s' % room, PAGE, re.M | re.S)
        if not told:
            sys.exit('docs/inside.md does not tell what room %s is' % room)
        words = re.sub(r'\s+', ' ', told.group(1))
        picture.node(room, room + '\n' + re.sub(r'(.{24}\S*) ', r'\1\n', words))
        for other in sorted(includes[room]):
            if not any(other in reach(nearer) for nearer in includes[room]):
                picture.edge(room, other)
    picture.node('application', 'the application', HOST)
    picture.node('runtime', 'CPython', RUNTIME)
    picture.edge('application', 'talk', 'label="public headers"')
    picture.edge('core', 'runtime', 'label="PyCompat.h"')
    picture.write(folder, 7)


def door(folder):
    picture = Picture('door', 'LR')
    box(picture, 'core/Door.h', RUNTIME)
    visits = [file for file in using(r'\bVisit\s+\w+\s*;') if not file.startswith('core/Door')]
    turns = [file for file in using(r'\bTurn\s+\w+') if not file.startswith('core/Door')]
    for file in visits:
        box(picture, file)
        picture.edge(file, 'core/Door.h', 'label="goes in"')
    for file in turns:
        box(picture, file)
        picture.edge('core/Door.h', file, 'dir=back, label="shuts"')
    entry = [file for file in visits if file.startswith('eval/Entry')]
    if not entry or not turns:
        sys.exit('door: nobody goes in, or nobody shuts it')
    for file in using(r'\bEntry\s+\w+\s*\('):
        if file not in visits:
            picture.node(file, file, HOST)
            picture.edge(file, entry[0])
    picture.write(folder, 8)


def stores(folder):
    picture = Picture('stores', 'LR')
    locked = set(using(r'\bStoreMutex\s+\w+')) - {'core/StoreMutex.h'}
    dropped = {file for file in using(r'RuntimeLife::CallAtStop\(&|CallAtStop\(\[')
               if not file.startswith('core/RuntimeLife')}
    for file in sorted(locked | dropped):
        box(picture, file)
    picture.group('life', 'dropped at the end of the life', sorted(dropped))
    picture.group('other', 'otherwise', sorted(locked - dropped))
    picture.node('lock', 'core/StoreMutex.h\na lock only where the runtime has none', RUNTIME)
    for file in sorted(locked):
        picture.edge(file, 'lock')
    picture.write(folder, 6)


def platforms(folder):
    picture = Picture('platforms', 'LR')
    for posix in [file for file in FILES if file.endswith('_posix.cpp')]:
        header = posix.replace('_posix.cpp', '.h')
        windows = posix.replace('_posix', '_windows')
        if windows not in FILES:
            sys.exit('%s has no counterpart for Windows' % posix)
        names = re.findall(r'\b([A-Z]\w+)\([^;{}]*\)[^;{}]*;', FILES[header])
        shown = [name for name in dict.fromkeys(names)
                 if all(re.search(r'\b%s\(' % name, FILES[side]) for side in (posix, windows))]
        picture.node(header, header + '\n' + '\n'.join(shown))
        for side in (posix, windows):
            picture.node(side, side, RUNTIME)
            picture.edge(header, side)
    picture.write(folder, 6)


def runtimes(folder):
    """What PyCompat.h calls otherwise where the runtime has no global lock, and who uses it."""
    picture = Picture('runtimes', 'LR')
    header = FILES['core/PyCompat.h']
    parts = re.findall(r'#if[^\n]*Py_GIL_DISABLED.*?#endif', header, re.S)
    names = set(re.findall(r'\bconstexpr (?:bool|const char\*) (k\w+)', '\n'.join(parts)))
    names |= set(re.findall(r'\bclass (\w+) \{', '\n'.join(parts)))
    for match in re.finditer(r'\ninline [^\n]*?\b(\w+)\([^{]*\{(.*?)\n\}', header, re.S):
        if 'Py_GIL_DISABLED' in match.group(2):
            names.add(match.group(1))
    picture.node('with', 'with the lock\n3.5 to 3.15', RUNTIME)
    picture.node('without', 'without it\n3.13t and newer', RUNTIME)
    for name in sorted(names):
        users = [file for file in using(r'\b%s\b' % name) if not file.startswith('core/PyCompat')]
        if not users:
            continue
        picture.node(name, name)
        picture.edge('with', name)
        picture.edge('without', name)
        picture.node('users of ' + name, '\n'.join(users), HOST)
        picture.edge(name, 'users of ' + name)
    picture.write(folder, 6)


def check_table():
    rows = re.findall(r'^\| [^|]+ \| `([\w/.]+)` \| `([^`]+)` \|$', PAGE, re.M)
    if len(rows) < 20:
        sys.exit('docs/inside.md tells of %d places, not of 20' % len(rows))
    for file, word in rows:
        if not (LIBRARY / file).exists():
            sys.exit('docs/inside.md names %s, which is not there' % file)
        if word not in (LIBRARY / file).read_text(encoding='utf-8'):
            sys.exit('docs/inside.md promises %s in %s' % (word, file))


def main():
    folder = pathlib.Path(sys.argv[1])
    folder.mkdir(parents=True, exist_ok=True)
    for draw in (rooms, door, stores, platforms, runtimes):
        draw(folder)
    check_table()


main()

"""What the trace observers of a host make of real programs: argument 1 is the host.

Programs of the standard library are copied into a folder outside the runtime's directory and run
twice, by the host and by the interpreter with its own trace module; both must have counted the same
lines, as often. Further tests look at the files' forms and at the stepper.
"""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import trace
import unittest

HOST = [os.path.abspath(sys.argv.pop(1))]
LIBRARY = os.path.dirname(os.__file__)
ENVIRONMENT = dict(os.environ, PYTHONHASHSEED='0', PYTHONDONTWRITEBYTECODE='1')

# Counts by the trace module, of what the host runs in the same way.
REFERENCE = r"""
import json, os, sys, threading, trace
out, script = sys.argv[1:3]
sys.argv = sys.argv[2:]
sys.path[0] = os.path.dirname(script)
tracer = trace.Trace(count=1, trace=0)
names = vars(sys.modules['__main__'])
names['__file__'] = script
with open(script, 'rb') as source:
    code = compile(source.read(), script, 'exec')
try:
    tracer.runctx(code, names, names)
except SystemExit:
    pass
for thread in threading.enumerate():
    if thread is not threading.current_thread():
        thread.join()
counts = {}
for (file, line), count in tracer.results().counts.items():
    if os.path.isfile(file):
        counts.setdefault(file, {})[line] = count
with open(out, 'w') as file:
    json.dump(counts, file)
"""

# Each thread works in a module of its own, so that the counts do not hang on their order.
THREADS = """
import _thread
import threading
import copied_colorsys, copied_copy, copied_csv, copied_difflib, copied_fractions, copied_heapq
import copied_pprint, copied_shlex, copied_statistics, copied_string, copied_textwrap

def sniff():
    copied_csv.Sniffer().sniff('a;b;c\\n1;2;3\\n4;5;6\\n')

class Own(threading.Thread):
    def run(self):
        for number in copied_heapq.merge([1, 4], [2, 3]):
            self.last = number

def raw(done, text='$a', **more):
    copied_string.Template(text).substitute(a=1)
    done.release()

works = [
    lambda: copied_colorsys.rgb_to_hsv(.1, .2, .3), lambda: copied_copy.deepcopy([1, {2: (3,)}]),
    sniff, lambda: list(copied_difflib.ndiff('one two'.split(), 'one too'.split())),
    lambda: copied_fractions.Fraction('3/9') + 1, lambda: copied_pprint.pformat({1: ['x' * 90]}),
    lambda: list(copied_shlex.shlex('a "b c" # d')), lambda: copied_statistics.median([3, 1, 2]),
    lambda: copied_textwrap.fill('so long ' * 40)]
threads = [threading.Thread(target=work, name='work %d' % n) for n, work in enumerate(works)]
threads.append(Own())
for thread in threads:
    thread.start()
done = threading.Lock()
done.acquire()
RAW
# Not joined: whoever watches waits for them.
"""


def covered(info):
    """The records of a tracefile: {file: {line: count}}, and {file: {function: (line, calls)}}."""
    lines, functions, record = {}, {}, []
    with open(info) as file:
        for text in file.read().splitlines():
            record.append(text)
            if text != 'end_of_record':
                continue
            tags = {}
            for entry in record[:-1]:
                tag, _, value = entry.partition(':')
                tags.setdefault(tag, []).append(value)
            assert list(tags)[0:2] == ['TN', 'SF'], record[:3]
            path = tags['SF'][0]
            lines[path] = {int(n): int(c) for n, c in (v.split(',') for v in tags['DA'])}
            hits = sum(1 for count in lines[path].values() if count)
            assert (int(tags['LF'][0]), int(tags['LH'][0])) == (len(lines[path]), hits), path
            starts = {name: int(n) for n, name in (v.split(',', 1) for v in tags.get('FN', []))}
            calls = {name: int(n) for n, name in (v.split(',', 1) for v in tags.get('FNDA', []))}
            assert set(starts) == set(calls) and len(starts) == int(tags['FNF'][0]), path
            assert int(tags['FNH'][0]) == sum(1 for count in calls.values() if count), path
            functions[path] = {name: (starts[name], calls[name]) for name in starts}
            record = []
    assert not record
    return lines, functions


class TraceTest(unittest.TestCase):
    def setUp(self):
        self.folder = os.path.realpath(tempfile.mkdtemp(prefix='zrtest-'))
        self.addCleanup(shutil.rmtree, self.folder)

    def write(self, name, text):
        with open(os.path.join(self.folder, name), 'w') as file:
            file.write(text)
        return file.name

    def copy(self, name):
        """A module under a name of its own: the trace module uses some of them itself."""
        copied = os.path.join(self.folder, 'copied_%s.py' % os.path.basename(name))
        return shutil.copy(os.path.join(LIBRARY, name + '.py'), copied)

    def run_host(self, *arguments, **options):
        return self.run_program(HOST, arguments, **options)

    def run_program(self, program, arguments, stdin='', status=0):
        process = subprocess.Popen(
            program + list(arguments), cwd=self.folder, env=ENVIRONMENT, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, universal_newlines=True)
        out, err = process.communicate(stdin, timeout=100)
        self.assertEqual(process.returncode, status, out + err)
        return out, err

    def compare(self, script, *arguments):
        """Runs a script both ways. Gives what the host covered in the test's folder."""
        info, counts = (os.path.join(self.folder, name) for name in ('host.info', 'trace.json'))
        self.run_host('--coverage', info, script, *arguments)
        self.run_program([sys.executable, '-c', 'exec(%r, {})' % REFERENCE, counts, script],
                         arguments)
        lines, functions = covered(info)
        ours = {path: {line: count for line, count in found.items() if count}
                for path, found in lines.items() if path.startswith(self.folder)}
        with open(counts) as file:
            theirs = {path: {int(line): count for line, count in found.items()}
                      for path, found in json.load(file).items() if path.startswith(self.folder)}
        self.assertEqual(sorted(ours), sorted(theirs))
        for path in ours:
            differences = [(n, ours[path].get(n), theirs[path].get(n)) for n in
                           sorted(set(ours[path]) | set(theirs[path]))
                           if ours[path].get(n) != theirs[path].get(n)]
            self.assertEqual(differences, [], path)
            # Lines that the trace module takes for executable. It leaves out lines of strings.
            strings = trace._find_strings(path)
            executable = set(trace._find_executable_linenos(path)) - {0, None}
            self.assertEqual(set(lines[path]) - set(strings), executable - set(strings), path)
        return lines, functions


class Programs(TraceTest):
    def test_count_as_the_trace_module_does(self):
        sample = os.path.join(LIBRARY, 'sched.py')
        data = self.write('data.json', '{"a": [1, 2.5, "text", null], "b": {}}')
        programs = [
            ('tokenize', sample), ('tabnanny', '-v', sample), ('dis', sample),
            ('pyclbr', sample), ('calendar', '2024', '2'), ('base64', '-e', data),
            ('quopri', data), ('textwrap',), ('inspect', 'sched'), ('gzip', data),
            ('tarfile', '-c', 'x.tar', data), ('shlex', data), ('json/tool', data),
            ('mimetypes', 'a.html', 'b.nope'), ('fileinput', data)]
        for program in programs:
            with self.subTest(program=program[0]):
                script = self.copy(program[0])
                lines, _ = self.compare(script, *program[1:])
                self.assertGreater(sum(1 for count in lines[script].values() if count), 10)

    def threads(self, raw):
        for name in re.findall(r'copied_(\w+)[,\n]', THREADS):
            self.copy(name)
        return self.write('threads.py', THREADS.replace('RAW', raw))

    def test_count_threads_too(self):
        lines, _ = self.compare(self.threads('raw(done)'))
        inside = [path for path in lines if os.path.basename(path).startswith('copied_')]
        self.assertEqual(len(inside), 11)

    def test_count_threads_without_the_threading_module(self):
        # The trace module does not see these.
        script = self.threads("_thread.start_new_thread(raw, (done, '$a'), {'b': 1})\n"
                              "done.acquire()\n"
                              "try: _thread.start_new_thread(raw, 5)\n"
                              "except TypeError as error: print(error)")
        out, _ = self.run_host('--coverage', 'host.info', script)
        self.assertIn('2nd arg must be a tuple', out)
        _, functions = covered(os.path.join(self.folder, 'host.info'))
        self.assertEqual(functions[script]['raw'][1], 1)
        self.assertEqual(functions[script]['Own.run'][1], 1)


FORMS = '''"""Of lines and functions."""
import os

class Things:
    size = 1

    @property
    def first(self):
        return self.size

    @first.setter
    def first(self, value):
        self.size = value

    def unused(self):
        def inner():
            return 1
        return inner

def numbers(count):
    for n in range(count):
        yield n

def outer():
    return [n for n in numbers(3)], (lambda: 1)(), (lambda: 2)

outer()
outer()
exec(compile("\\n" * 90 + "os", __file__, "exec"))  # a line that is not there
eval("1")
'''


class Forms(TraceTest):
    def test_coverage_has_misses_and_functions(self):
        script = self.write('forms.py', FORMS)
        os.mkdir(os.path.join(self.folder, 'deep'))
        self.run_host('--coverage', 'deep/host.info', 'forms.py')  # names are made absolute
        info = os.path.join(self.folder, 'deep', 'host.info')
        lines, functions = covered(info)
        self.assertEqual(list(lines), [script])
        self.assertEqual(sorted(n for n, count in lines[script].items() if not count),
                         [9, 13, 16, 17, 18])
        self.assertEqual(lines[script][22], 6)
        named = functions[script]
        self.assertEqual({name: calls for name, (_, calls) in named.items() if '<' not in name},
                         {'Things.first': 0, 'Things.first:11': 0, 'Things.unused': 0,
                          'numbers': 2, 'outer': 2})
        self.assertEqual(named['Things.unused.<locals>.inner'], (16, 0))
        self.assertEqual(named['outer.<locals>.<lambda>'], (25, 2))
        if shutil.which('genhtml'):
            html = subprocess.Popen(['genhtml', '--legend', '-o', 'html', info], cwd=self.folder,
                                    stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                    universal_newlines=True)
            told = html.communicate()[0]
            self.assertEqual(html.returncode, 0, told)
            self.assertNotRegex(told, '(?i)warning|error')
            self.assertRegex(told, r'lines\.+: %.1f%%' % (100.0 * (len(lines[script]) - 5) /
                                                         len(lines[script])))

    def test_timeline_matches_begins_and_ends(self):
        script = self.write('calls.py', """
import threading
def fail(n):
    if n == 0: raise ValueError('"\\\\' + chr(7))
    fail(n - 1)
def steps():
    try: yield 1
    except KeyError: yield 2
def work():
    for n in range(3):
        try: fail(n)
        except ValueError: pass
    waiting = steps()
    next(waiting)
    next(waiting, None)
threads = [threading.Thread(target=work, name='"quoted\\\\" %d' % n) for n in range(8)]
for thread in threads: thread.start()
work()
""")
        self.run_host('--timeline', 'out.json', script)
        with open(os.path.join(self.folder, 'out.json')) as file:
            events = json.load(file)['traceEvents']
        names, stacks, calls, last = {}, {}, {}, {}
        for event in events:
            if event['ph'] == 'M':
                names[event['name'], event['tid']] = event['args']['name']
                continue
            thread = event['tid']
            self.assertEqual(event['pid'], 1)
            self.assertGreaterEqual(event['ts'], last.get(thread, 0))
            last[thread] = event['ts']
            stack = stacks.setdefault(thread, [])
            if event['ph'] == 'B':
                stack.append(event['name'])
                calls.setdefault(thread, []).append((event['name'], event['args']['line']))
                self.assertEqual(event['args']['file'], script)
            else:
                self.assertEqual((event['ph'], event['name']), ('E', stack.pop()))
        self.assertEqual([stack for stack in stacks.values() if stack], [])
        self.assertEqual(sorted(names['thread_name', thread] for thread in stacks),
                         ['"quoted\\" %d' % n for n in range(8)] + ['MainThread'])
        once = [('work', 9)] + [('fail', 3)] * 6 + [('steps', 6)] * 2
        for thread, made in calls.items():
            more = [('<module>', 1)] if names['thread_name', thread] == 'MainThread' else []
            self.assertEqual([call for call in made if call[0] != '<listcomp>'],
                             [(name, line if name != '<module>' else made[0][1])
                              for name, line in more + once])


STEPPED = """def twice(n):
    m = n + n
    return m

def main():
    a = twice(4)
    b = twice(a)
    return b

main()
print('over')
"""


class Steps(TraceTest):
    def stops(self, commands, status=0):
        """The numbers of the lines where the stepper stopped, and all that it wrote."""
        out, err = self.run_host('--step', self.write('steps.py', STEPPED),
                                 stdin=''.join(command + '\n' for command in commands), status=status)
        return [int(n) for n in re.findall(r'steps\.py:(\d+)\n-> ', err)], err, out

    def test_stops_where_the_user_says(self):
        s, n, c = 's', 'n', 'c'
        cases = [
            ([s, s, s, s, s, s, s], [1, 5, 10, 6, 2, 3, 7, 2]),
            ([n, n, n, n], [1, 5, 10, 11]),
            ([n, n, s, n, n, n, n], [1, 5, 10, 6, 7, 8, 11]),
            ([s, s, s, s, '', n, '', c], [1, 5, 10, 6, 2, 3, 7, 8]),
            (['b steps.py:3', c, c, c], [1, 3, 3]),
            (['b 8', 'b xsteps.py:2', 'b steps.py:0', c, c], [1, 8]),
            ([c], [1]),
            ([], [1])]
        for commands, lines in cases:
            stopped, _, out = self.stops(commands)
            # Without further input the script runs to its end.
            self.assertEqual(stopped, lines, commands)
            self.assertTrue(out.startswith('over\n'), out)

    def test_shows_source_and_values(self):
        _, err, _ = self.stops(['b steps.py:3', 'c', 'p n, m', 'p twice(m) + 1', 'p nope', 'p )',
                                'what', 'p __name__', 'q'], status=3)
        self.assertIn('->     return m\n', err)
        for answer in ['(4, 8)', '17', "NameError: name 'nope' is not defined", 'SyntaxError: ',
                       's  step to the next line', "'__main__'"]:
            self.assertIn('(step) ' + answer, err)

    def test_quits(self):
        stopped, _, out = self.stops(['s', 'q', 's'], status=3)
        self.assertEqual(stopped, [1, 5])
        self.assertNotIn('over', out)


if __name__ == '__main__':
    unittest.main()

"""Counts lines of real programs with a host, argument 1, and with the interpreter's trace module.

Programs of the standard library are copied into a folder outside the runtime's directory. The host
itself fails when a thread's calls and returns do not pair.
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

HOST = os.path.abspath(sys.argv.pop(1))
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
finally:
    for thread in threading.enumerate():
        if thread is not threading.current_thread():
            thread.join()
    with open(out, 'w') as file:
        json.dump(list(tracer.results().counts.items()), file)
"""

# Each thread works in a module of its own, so that the counts do not hang on their order.
WORKS = {
    'copy': 'M.deepcopy([1, {2: (3,)}])', 'csv': 'M.Sniffer().sniff("a;b;c\\n1;2;3\\n4;5;6\\n")',
    'difflib': 'list(M.ndiff("one two".split(), "one too".split()))',
    'heapq': 'list(M.merge([1, 4], [2, 3]))', 'pprint': 'M.pformat({1: ["x" * 90]})'}


class Programs(unittest.TestCase):
    def setUp(self):
        self.folder = os.path.realpath(tempfile.mkdtemp(prefix='zrtest-'))
        self.addCleanup(shutil.rmtree, self.folder)

    def copy(self, name):
        """A module under a name of its own: the trace module uses some of them itself."""
        copied = os.path.join(self.folder, 'copied_%s.py' % os.path.basename(name))
        return shutil.copy(os.path.join(LIBRARY, name + '.py'), copied)

    def compare(self, script, *arguments):
        """Runs a script both ways. Gives the file of each line that ran in the test's folder."""
        info, counts = (os.path.join(self.folder, name) for name in ('host.info', 'trace.json'))
        for program in [HOST, info], [sys.executable, '-c', 'exec(%r, {})' % REFERENCE, counts]:
            process = subprocess.run(
                program + [script] + list(arguments), cwd=self.folder, env=ENVIRONMENT, timeout=100,
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            self.assertEqual(process.returncode, 0, process.stdout)
        ours, path = {}, ''
        with open(info) as file:
            for tag, _, value in (line.rstrip('\n').partition(':') for line in file):
                if tag == 'SF':
                    path = value
                elif tag == 'DA' and path.startswith(self.folder) and not value.endswith(',0'):
                    line, count = value.split(',')
                    ours[path, int(line)] = int(count)
        with open(counts) as file:
            theirs = {(path, line): count for (path, line), count in json.load(file)
                      if path.startswith(self.folder)}
        self.assertEqual(ours, theirs)
        return [path for path, _ in ours]

    def test_count_as_the_trace_module_does(self):
        sample = os.path.join(LIBRARY, 'sched.py')
        data = self.copy('sched')
        for program in [
                ('tokenize', sample), ('tabnanny', '-v', sample), ('dis', sample),
                ('pyclbr', sample), ('calendar', '2024', '2'), ('base64', '-e', data),
                ('quopri', data), ('inspect', 'sched'), ('gzip', data), ('fileinput', data),
                ('tarfile', '-c', 'x.tar', data), ('mimetypes', 'a.html')]:
            with self.subTest(program=program[0]):
                script = self.copy(program[0])
                self.assertGreater(self.compare(script, *program[1:]).count(script), 10)

    def test_count_threads_too(self):
        script = os.path.join(self.folder, 'threads.py')
        with open(script, 'w') as file:
            for name, work in sorted(WORKS.items()):
                self.copy(name)
                file.write('import threading, copied_%s as M\n'
                           'threading.Thread(target=lambda M=M: %s).start()\n' % (name, work))
        self.assertEqual(len(set(self.compare(script))), 1 + len(WORKS))

    def test_lose_no_lines_to_what_scripts_do_with_tracing(self):
        script = os.path.join(self.folder, 'own.py')
        lines = ['import sys, _thread, time', 'old = sys.gettrace()', 'sys.settrace(None)', 'a = 1',
                 'sys.settrace(lambda *a: None)', 'sys.settrace(old)', 'b = 2',
                 'def f(): raise ValueError', '_thread.start_new_thread(f, ())', 'time.sleep(0.5)']
        with open(script, 'w') as file:
            file.write('\n'.join(lines))
        process = subprocess.run([HOST, 'host.info', script], cwd=self.folder, env=ENVIRONMENT,
                                 stderr=subprocess.PIPE, timeout=100)
        self.assertEqual(process.returncode, 0, process.stderr)
        self.assertRegex(process.stderr, b'thread started by:? <function f')
        with open(os.path.join(self.folder, 'host.info')) as file:
            ran = {line.rstrip() for line in file if line.startswith('DA:')}
        missing = {'DA:%d,1' % (line + 1) for line in range(len(lines))} - ran
        self.assertLessEqual(missing, {'DA:6,1', 'DA:8,1'}, ran)  # the script's own; run in f, too


if __name__ == '__main__':
    unittest.main()

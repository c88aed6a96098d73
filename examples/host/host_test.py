"""What zrpyhost prints and how it ends: python3 host_test.py ZRPYHOST [CLASS[.CASE]...]

ZR_EMULATOR, when set, is what runs a host that was built for Windows, and ZR_ROOT an installation,
since it makes none of its own where there are no links.
"""
import fcntl
import json
import os
import pty
import select
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest

HOST = ''
COMMAND = ()
EMULATOR = tuple(filter(None, [os.environ.get('ZR_EMULATOR')]))
PATIENCE = 60  # seconds


class HostTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        # Where the host makes its installation: nothing of it may stay.
        self.scratch = os.path.join(self.folder.name, 'scratch')
        os.mkdir(self.scratch)
        self.environment = dict(os.environ, TERM='xterm', LC_ALL='C.UTF-8')
        if not EMULATOR:
            self.environment['TMPDIR'] = self.scratch

    def tearDown(self):
        self.assertEqual(os.listdir(self.scratch), [])

    def write(self, name, text):
        with open(os.path.join(self.folder.name, name), 'w') as file:
            file.write(text)

    def run_host(self, *arguments, **options):
        process = subprocess.Popen(COMMAND + arguments, stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   cwd=self.folder.name, env=self.environment,
                                   universal_newlines=True)
        out, errors = process.communicate(options.get('input', ''), timeout=60)
        return process.returncode, out, errors

    def expect(self, arguments, status, out='', errors=(), **options):
        """errors: texts that stderr holds; nothing may stand there when there are none."""
        with self.subTest(arguments=arguments):
            got = self.run_host(*arguments, **options)
            self.assertEqual((status, out), got[:2], got[2])
            for text in errors:
                self.assertIn(text, got[2])
            if not errors:
                self.assertEqual('', got[2])


class CommandLine(HostTest):
    def test_wrong_ones_are_refused_with_a_hint(self):
        hint = "Try 'zrpyhost --help'."
        for arguments, text in (
                ([], 'nothing to run'),
                (['--contxt', 'k', 'a.py'], "'--contxt', did you mean --context?"),
                (['--zzz'], "unknown option '--zzz'\n"),
                (['--context'], 'option --context needs a value: NAME'),
                (['--set', 'x', '-e', '1'], "'x' is no NAME=VALUE"),
                (['--set', '=1', '-e', '1'], "'=1' is no NAME=VALUE"),
                (['--home', '/no/such/folder', '-e', '1'], '/no/such/folder'),
                (['--batch'], 'at least one SCRIPT'),
                (['--batch', '-e', '1', 'a.py'], 'does not go with -e'),
                (['--batch', 'a.py', '--get', 'x'], "ahead of the scripts: '--get'"),
                (['--batch', '--step', 'a.py'], 'does not go with --batch')):
            self.expect(arguments, 2, '', ['zrpyhost: ', text, hint])

    def test_help_names_every_option(self):
        status, out, errors = self.run_host('--help')
        self.assertEqual((0, ''), (status, errors))
        for name in ('SCRIPT [ARG...]', '-e TEXT', '-i', '--batch', '--context NAME', '--get',
                     '--set NAME=VALUE', '--coverage FILE', '--timeline FILE', '--step',
                     '--home DIR', '--user DIR', 'Exit status', 'Examples'):
            self.assertIn(name, out)
        self.assertNotIn('\033', out)

    def test_what_stands_behind_the_script_is_the_scripts(self):
        self.write('show.py', 'import sys\nprint(sys.argv)')
        self.expect(['show.py', '-e', '--get', 'x'], 0, "['show.py', '-e', '--get', 'x']\n")
        self.expect(['--', 'show.py'], 0, "['show.py']\n")
        self.expect(['-e', 'import sys; print(sys.argv)', 'a', '-b'], 0, "['-e', 'a', '-b']\n")

    @unittest.skipIf(EMULATOR, "the home is linked, and named, as on this machine")
    def test_home_and_user_are_used(self):
        self.expect(['--home', '.', '-e', '1'], 1, '', ['the runtime does not start'])
        home = os.path.join(self.folder.name, 'app')
        beside = os.path.join(self.folder.name, 'common', 'python', 'python3.5')
        os.mkdir(home)
        os.makedirs(beside)
        runtime = os.path.join(beside, 'macos64' if sys.platform == 'darwin' else 'linux64')
        os.symlink(sys.base_prefix, runtime)
        self.expect(['--home', home, '-e', 'import sys; print(sys.prefix)'], 0, runtime + '\n')
        # What is the runtime's is no script's, also where the root is named without its folders.
        self.write('imports.py', 'import this')
        self.run_host('--home', 'app', '--coverage', 'c.info', 'imports.py')
        with open(os.path.join(self.folder.name, 'c.info')) as file:
            self.assertEqual(1, file.read().count('SF:'))
        self.expect(['--user', '/u', '-e', 'import os; print(os.environ["PYTHONUSERBASE"])'], 0,
                    '/u/python\n')


class Runs(HostTest):
    def test_values_of_texts_are_printed(self):
        for text, out in (('6 * 7', '42\n'), ('"a" * 3', 'aaa\n'), ('""', '\n'), ('None', ''),
                          ('x = 1', ''), ('[1, "b"]', '[1, b]\n'), ('0.5', '0.5\n'),
                          ('print(1)', '1\n'), ('not 1', 'false\n')):
            self.expect(['-e', text], 0, out)
            self.expect(['--context', 'k', '-e', text], 0, out)

    def test_failures_reach_alert_and_status(self):
        self.write('bad.py', 'def f():\n  return {}["k"]\nf()')
        self.expect(['bad.py'], 1, '', ['alert: ', 'KeyError', "KeyError: 'k' (bad.py, line 2)"])
        for context in ([], ['--context', 'k']):
            self.expect(context + ['-e', '1 / 0'], 1, '',
                        ['alert: division by zero\n', 'Traceback', 'the text failed: ZeroDiv'])
            self.expect(context + ['-e', 'x = 1; y = z'], 1, '', ["name 'z' is not defined"])
        self.expect(['-e', 'print("once") or 1 / 0'], 1, 'once\n', ['ZeroDivisionError'])
        self.expect(['none.py'], 1, '', ['alert: could not open file - none.py'])
        self.expect(['--set', 'x=1', '--get', 'y', '-e', '0'], 1, '0\n', ['y failed: NameError'])

    def test_exits_leave_the_host_alive(self):
        self.write('leave.py', 'import sys\nx = 5\nsys.exit(STATUS)')
        for status, ends, text in (('0', 0, 'leave.py asked to exit with status 0\n'),
                                   ('None', 0, 'status 0\n'), ('3', 1, 'status 3\n'),
                                   ('"no space"', 1, 'status 1: no space\n')):
            self.write('leave.py', 'import sys\nx = 5\nsys.exit({})'.format(status))
            # What stands behind the exit shows that the host went on.
            self.expect(['--get', 'x', 'leave.py'], ends, 'x = 5\n' if ends == 0 else '', [text])
        status, out, errors = self.run_host('-e', 'raise SystemExit(3)')
        self.assertNotIn('alert', errors)

    def test_values_go_in_and_out(self):
        sets = []
        for pair in ('a=1', 'b=-2.5', 'c=true', 'd=false', 'e=a text', 'f=', 'g=1=2', 'h=12abc',
                     'i=99999999999'):
            sets += ['--set', pair]
        large = 99999999999 % 2**32 if EMULATOR else 99999999999  # its long has 32 bits
        shown = "[1, -2.5, True, False, 'a text', '', '1=2', '12abc', {}]\n".format(large)
        for context in ([], ['--context', 'k']):
            self.expect(context + sets + ['-e', 'print([a, b, c, d, e, f, g, h, i])'], 0, shown)
            self.expect(context + ['--set', 'a=20', '--get', 'a + b', '--get', 'None', '-e',
                                   'b = a + 2'], 0, 'a + b = 42\nNone = (no value)\n')

    def test_scripts_import_their_neighbours(self):
        os.mkdir(os.path.join(self.folder.name, 'tools'))
        self.write('tools/helper.py', 'name = "neighbour"')
        self.write('tools/main.py', 'import helper\nprint(helper.name, __name__)')
        self.expect(['tools/main.py'], 0, 'neighbour __main__\n')
        self.expect(['--context', 'k', 'tools/main.py'], 0, 'neighbour k\n')

    def test_a_batch_runs_all_and_tells_of_each(self):
        self.write('one.py', 'import sys\ntotal = 1\nprint(sys.argv)')
        self.write('bad.py', 'total += 1\nraise ValueError("no")')
        self.write('two.py', 'total += 10\nprint(total)')
        for context in ([], ['--context', 'k']):
            status, out, errors = self.run_host(*(context + ['--batch', 'one.py', 'bad.py',
                                                             'two.py']))
            self.assertEqual((1, "['one.py']\n12\n"), (status, out))
            self.assertRegex(errors, r'(?m)^ok     +[\d.]+ s  one.py$')
            self.assertRegex(errors, r'(?m)^FAILED +[\d.]+ s  bad.py$')
            self.assertIn('bad.py failed: ValueError: no (bad.py, line 2)', errors)
            self.assertRegex(errors, r'3 scripts, 1 failed, +[\d.]+ s')
            self.assertNotIn('\033', errors)
        self.assertEqual(0, self.run_host('--batch', 'one.py', 'two.py')[0])

    @unittest.skipIf(EMULATOR, "needs streams that are closed, and /dev/full")
    def test_lost_output_and_missing_streams_end_in_a_failure(self):
        self.write('p.py', 'print("text")')
        for close in '>/dev/full', '>&-':
            for arguments in '-e "6 * 7"', '--set x=1 --get x -e pass':
                status, errors = self.run_shell('"$0" %s %s' % (arguments, close))
                self.assertEqual(1, status, errors)
                self.assertIn('stdout cannot be written to', errors)
        self.assertEqual(1, self.run_shell('"$0" p.py >/dev/full')[0])
        # What a script opens does not become what the host prints to.
        self.write('o.py', 'f = open("new", "w"); x = f.fileno()')
        self.run_shell('"$0" --get x o.py >&-')
        self.assertEqual(0, os.path.getsize(os.path.join(self.folder.name, 'new')))
        self.assertEqual((0, ''), self.run_shell('"$0" -i <&-'))

    def run_shell(self, command):
        """Runs the command, in which $0 is the host. Gives the status and what stderr holds."""
        process = subprocess.Popen(['sh', '-c', command, HOST], stderr=subprocess.PIPE,
                                   cwd=self.folder.name, env=self.environment,
                                   universal_newlines=True)
        try:
            errors = process.communicate(timeout=60)[1]
        except subprocess.TimeoutExpired:
            process.kill()
            raise
        return process.returncode, errors

    def test_scripts_find_their_own_text_and_libraries(self):
        self.write('t.py', 'import inspect, linecache, os, sys\nos.chdir("/")\n'
                           'def f(): pass\n'
                           'print(linecache.getline(__file__, 3, globals()), end="")\n'
                           'print(type(__loader__).__name__, __loader__.path == __file__)')
        path = os.path.join(self.folder.name, 't.py')
        self.expect([path], 0, 'def f(): pass\nSourceFileLoader True\n')
        if self.run_host('-e', 'import readline')[0] == 0:
            self.expect(['-e', 'import readline; readline.add_history("x"); '
                               'print(readline.get_current_history_length())'], 0, '1\n')


class Watching(HostTest):
    SCRIPT = 'def f(n):\n    if n > 9:\n        return 0\n    return n\nprint(f(1))\n'

    def test_files_for_other_tools_are_written(self):
        self.write('s.py', self.SCRIPT)
        self.expect(['--coverage', 'c.info', '--timeline', 't.json', 's.py'], 0, '1\n')
        with open(os.path.join(self.folder.name, 'c.info')) as file:
            lines = file.read().split('\n')
        for line in ('DA:2,1', 'DA:3,0', 'DA:4,1', 'end_of_record'):
            self.assertIn(line, lines)
        with open(os.path.join(self.folder.name, 't.json')) as file:
            events = json.load(file)['traceEvents']
        names = [event['name'] for event in events if event['ph'] == 'B']
        self.assertEqual(['<module>', 'f'], names)  # the script's own, and nothing of the host's
        self.expect(['--coverage', '/no/such/folder/c', 's.py'], 1, '', ['/no/such/folder/c'])

    def test_the_stepper_obeys(self):
        self.write('s.py', self.SCRIPT)
        status, out, errors = self.run_host('--step', 's.py', input='n\np 6 * 7\nc\n')
        self.assertEqual((0, '1\n'), (status, out))
        self.assertIn('42', errors)
        status, out, errors = self.run_host('--step', 's.py', input='q\n')
        self.assertEqual((1, ''), (status, out))
        self.assertIn('KeyboardInterrupt', errors)


class Dialogue(HostTest):
    def test_statements_and_commands_from_a_pipe(self):
        self.expect(['-i'], 0, '3\n0\n1\n7\n1\na = 1\n5\n', input=(
            'x = 3\n\nx\nfor i in range(2):\n  print(i)\n\n:context k\nx = 7\nx\n'
            ':set a=1\na\n:get a\n:context\nx + 2\n'))
        self.expect(['-i'], 1, 'n: int\nf: function\nm: module\n', ['there is no context other'],
                    input=':context k\nn = 1\ndef f(): pass\n\nimport math as m\n'
                          ':context\n:names k\n:names other\n')
        self.expect(['-i'], 0, 'yes\n', input='if 1:\n  print("yes")')  # ends without a line end
        self.expect(['-i'], 0, '', input=':quit\n1\n')
        self.expect(['-i', '--set', 'x=4', '-e', 'y = x'], 0, '8\n', input='x + y\n')

    def test_failures_do_not_end_it(self):
        self.expect(['-i'], 1, '1\n', ['not understood: :nonsense', 'SyntaxError', 'status 4'],
                    input=':nonsense\n1 +\nimport sys; sys.exit(4)\n1\n')


@unittest.skipIf(EMULATOR, "needs a terminal")
class Keys(HostTest):
    """At a terminal."""

    def start(self, *arguments):
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack('HHHH', 24, 80, 0, 0))
            os.chdir(self.folder.name)
            os.execve(HOST, (HOST,) + arguments, self.environment)
        self.shown = b''

    def read(self, wanted, patience=PATIENCE):
        """Reads what is shown until that holds the text, or, without one, until the host ends."""
        end = time.time() + patience
        while wanted is None or wanted not in self.shown:
            if not select.select([self.terminal], [], [], max(0, end - time.time()))[0]:
                return False
            try:
                self.shown += os.read(self.terminal, 4096)
            except OSError:  # the host ended
                return wanted is None
        return True

    def await_text(self, text):
        """Waits until the text is shown, and takes what was shown up to there."""
        if not self.read(text):
            os.kill(self.pid, signal.SIGKILL)
            self.fail('{!r} did not come, only {!r}'.format(text, self.shown))
        before, self.shown = self.shown.split(text, 1)
        return before

    def type(self, text):
        os.write(self.terminal, text)

    def ended(self):
        """Waits for the end, and gives the status."""
        if not self.read(None):
            os.kill(self.pid, signal.SIGKILL)
            self.fail('no end, only {!r}'.format(self.shown))
        os.close(self.terminal)
        return os.WEXITSTATUS(os.waitpid(self.pid, 0)[1])

    def test_ctrl_c_ends_the_script_and_not_the_host(self):
        self.start('-i')
        self.await_text(b'>>> ')
        self.type(b'print("be" + "gun")\n')
        self.await_text(b'begun')
        self.await_text(b'>>> ')
        self.type(b'while True: print("turn" + "ing")\n\n')
        self.await_text(b'turning')
        self.type(b'\x03')
        self.await_text(b'failed: KeyboardInterrupt')
        self.await_text(b'>>> ')
        self.type(b'1 + ')  # half a line goes with the key, too
        self.await_text(b'1 + ')
        self.type(b'\x03')
        if not self.read(b'>>> ', 1):  # the key makes the terminal drop what is shown just then
            self.type(b'\n')
        self.await_text(b'>>> ')
        self.type(b'40 + 2\n')
        self.await_text(b'42')
        self.await_text(b'>>> ')
        self.type(b'\x04')
        self.assertEqual(0, self.ended())

    def test_ctrl_c_is_the_hosts_again_behind_a_script_that_took_it(self):
        self.start('-i')
        self.await_text(b'>>> ')
        self.type(b'import signal as s; s.signal(2, s.signal(2, print)); print("d" + "one")\n')
        self.await_text(b'done')
        self.await_text(b'>>> ')
        self.type(b'while True: print("turn" + "ing")\n\n')
        self.await_text(b'turning')
        self.type(b'\x03')
        self.await_text(b'failed: KeyboardInterrupt')
        self.await_text(b'>>> ')
        self.type(b'1 + ')
        self.await_text(b'1 + ')
        self.type(b'\x03')
        if not self.read(b'>>> ', 1):
            self.type(b'\n')
        self.await_text(b'>>> ')
        self.type(b'40 + 2\n')
        self.await_text(b'42')
        self.type(b'\x04')
        self.assertEqual(0, self.ended())

    def test_ctrl_c_ends_a_lone_script(self):
        self.write('endless.py', 'print("be" + "gun", flush=True)\nwhile True: pass')
        self.start('--get', '6 * 7', 'endless.py')
        self.await_text(b'begun')
        self.type(b'\x03')
        self.await_text(b'endless.py failed: KeyboardInterrupt')
        self.assertEqual(1, self.ended())

    def test_lines_are_edited_and_contexts_shown(self):
        self.start('-i', '--context', 'shelf')
        self.await_text(b'shelf>>> ')
        self.type(b'6 * 8\x7f7\n')
        self.await_text(b'42')
        self.await_text(b'shelf>>> ')
        self.type('"n\u00e4her"[2:] * 2\n'.encode())  # a letter of two bytes is one letter
        self.await_text(b'herher')
        self.await_text(b'shelf>>> ')
        self.type(b'\x1b[A\x1b[A\n')  # two lines before
        self.await_text(b'42')
        self.await_text(b'shelf>>> ')
        self.type(b'for i in (1,):\n\tprint("row", i)\n\n')
        self.await_text(b'row 1')
        self.await_text(b'shelf>>> ')
        self.type(b':context\n')
        self.await_text(b'\n>>> ')
        self.type(b'\x04')
        self.assertEqual(0, self.ended())

    def test_tab_completes_what_is_known_in_the_context(self):
        self.start('-i', '--context', 'shelf')
        self.await_text(b'shelf>>> ')
        for typed, shown in (('na\u00efve_count, naif = 6, [7]', '[7]'),
                             ('len(naif.__do\t) * 0 + na\u00ef\t * 7', '42'),
                             ('if 1:\n\tprint("in" + "dented")\n', 'indented'),
                             ('int(len(naif) == nothing_li\t1)', 'NameError')):
            self.type((typed + '\n').encode())
            self.await_text(shown.encode())
            self.await_text(b'shelf>>> ')
        self.type(b'na\t\t')
        self.await_text('na\u00efve_count'.encode())  # all that it could be
        self.type(b'if\n')
        self.await_text(b'[7]')  # naif
        self.type(b'\x04')
        self.assertEqual(0, self.ended())

    def test_ctrl_d_typed_ahead_ends_too(self):
        self.start('-i')
        self.await_text(b'>>> ')
        self.type(b'import time; time.sleep(0.3); print("a" + "wake")\n')
        time.sleep(0.1)
        self.type(b'\x04')
        self.await_text(b'awake')
        self.assertEqual(0, self.ended())

    def test_a_bar_and_colours_for_a_terminal_that_wants_them(self):
        self.write('a.py', 'pass')
        self.write('b.py', '1 / 0')
        self.start('--batch', 'a.py', 'b.py')
        self.await_text(b'[........................] 0/2 a.py')
        self.await_text(b'\x1b[32mok')
        self.await_text(b'[############............] 1/2 b.py')
        self.await_text(b'\x1b[31mFAILED')
        self.await_text(b'\x1b[r')  # all lines scroll again
        self.assertEqual(1, self.ended())
        self.environment['NO_COLOR'] = '1'
        self.start('-e', '1 / 0')
        self.assertNotIn(b'\x1b', self.await_text(b'the text failed: '))
        self.assertEqual(1, self.ended())


if __name__ == '__main__':
    HOST = os.path.abspath(sys.argv.pop(1))
    COMMAND = EMULATOR + (HOST,)
    if EMULATOR:
        COMMAND += ('--home', os.environ['ZR_ROOT'])
    unittest.main()

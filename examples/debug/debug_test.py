"""A client of the Debug Adapter Protocol against the debug host: debug_test.py HOST ROOT SCRIPT [--watch]"""
import json
import os
import socket
import subprocess
import sys


class Client:
    def __init__(self, port):
        self.stream = socket.create_connection(('127.0.0.1', port), timeout=60).makefile('rwb')
        self.sent = 0
        self.events = []

    def receive(self):
        size = 0
        for line in iter(self.stream.readline, b'\r\n'):
            if not line:
                raise EOFError('the adapter has gone')
            name, value = line.decode().split(':')
            if name.lower() == 'content-length':
                size = int(value)
        return json.loads(self.stream.read(size).decode())

    def send(self, command, **arguments):
        self.sent += 1
        body = json.dumps({'seq': self.sent, 'type': 'request', 'command': command,
                           'arguments': arguments}).encode()
        self.stream.write(b'Content-Length: %d\r\n\r\n' % len(body) + body)
        self.stream.flush()
        return self.sent

    def answer(self, number):
        while True:
            message = self.receive()
            if message['type'] == 'event':
                self.events.append(message)
            elif message['type'] == 'response' and message['request_seq'] == number:
                assert message['success'], message
                return message.get('body') or {}

    def ask(self, command, **arguments):
        return self.answer(self.send(command, **arguments))

    def wait_for(self, event):
        while True:
            for message in self.events:
                if message['event'] == event:
                    self.events.remove(message)
                    return message.get('body') or {}
            message = self.receive()
            if message['type'] == 'event':
                self.events.append(message)
            assert message.get('success', True), message


def main():
    host, root, script = sys.argv[1:4]
    watch = sys.argv[4:]
    process = subprocess.Popen([host, root, script] + watch, stdout=subprocess.PIPE, text=True)
    try:
        word, port = process.stdout.readline().split()
        assert word == 'port'
        client = Client(int(port))
        client.ask('initialize', adapterID='test', pathFormat='path', linesStartAt1=True)
        attach = client.send('attach', justMyCode=True)  # answered behind the configuration
        client.wait_for('initialized')
        breakpoints = client.ask('setBreakpoints', source={'path': script},
                                 breakpoints=[{'line': 2, 'condition': 'number == 2'}])
        assert breakpoints['breakpoints'][0]['verified'], breakpoints
        client.ask('configurationDone')
        client.answer(attach)

        thread = client.wait_for('stopped')['threadId']
        frames = client.ask('stackTrace', threadId=thread)['stackFrames']
        places = [(frame['name'], frame['line'], frame['source']['path']) for frame in frames]
        assert places == [('add', 2, script), ('<module>', 8, script)], places
        scope = client.ask('scopes', frameId=frames[0]['id'])['scopes'][0]
        found = client.ask('variables', variablesReference=scope['variablesReference'])['variables']
        assert {v['name']: v['value'] for v in found} == {'total': '1', 'number': '2'}, found
        client.ask('setVariable', variablesReference=scope['variablesReference'],
                   name='total', value='100')
        client.ask('setBreakpoints', source={'path': script}, breakpoints=[{'line': 9}])
        client.ask('next', threadId=thread)
        client.wait_for('stopped')
        frames = client.ask('stackTrace', threadId=thread)['stackFrames']
        assert [frame['line'] for frame in frames] == [3, 8], frames
        client.ask('continue', threadId=thread)

        # Stopped once more, the client goes, and the script runs to its end.
        client.wait_for('stopped')
        client.ask('disconnect')
        process.wait(timeout=60)  # the adapter, which inherits the pipe, may stay a little longer
        output = os.read(process.stdout.fileno(), 1000).decode().splitlines()
    finally:
        process.kill()
    # The function's two lines four times, its definition, one line, the loop's head and body, the print.
    lines = ['lines %d' % (4 * 2 + 1 + 1 + 5 + 4 + 1)] if watch else []
    assert output == ['total 105'] + lines + ['ran'], output
    assert process.returncode == 0, process.returncode


main()

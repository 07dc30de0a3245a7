"""A NATS server, agents and controllers as processes, and a line between them that can be disturbed."""
import asyncio
import json
import os
import re
import shutil
import signal
import socket
import subprocess
import threading
import time
from pathlib import Path

# Where Debian puts it; users need not have that in their paths.
SERVER = shutil.which("nats-server", path=os.environ["PATH"] + ":/usr/sbin")


def find_port():
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


def wait_until(what, ready, seconds=30):
    until = time.monotonic() + seconds
    while not ready():
        if time.monotonic() > until:
            raise AssertionError(f"{what} within {seconds} s")
        time.sleep(0.02)


def is_open(port):
    try:
        socket.create_connection(("127.0.0.1", port), 1).close()
        return True
    except OSError:
        return False


class Server:
    """A server with its memory and files in a folder of its own."""

    def __init__(self, folder, configuration=""):
        self.port = find_port()
        self.folder = Path(folder)
        self.configuration = self.folder / "server.conf"
        self.configuration.write_text(
            configuration or f'jetstream {{ store_dir: "{self.folder}/store", max_memory_store: 256M }}\n')
        self.start()

    @property
    def url(self):
        return f"nats://127.0.0.1:{self.port}"

    def start(self):
        with open(self.folder / "server.log", "ab") as log:
            self.process = subprocess.Popen(
                [SERVER, "--addr", "127.0.0.1", "--port", str(self.port), "--config", str(self.configuration)],
                stdout=log, stderr=log)
        wait_until("the server listens", lambda: is_open(self.port))

    def kill(self):
        self.process.kill()
        self.process.wait()

    def hear(self, subject):
        """A connection that hears the subject: by the server's own protocol, to be closed."""
        with socket.create_connection(("127.0.0.1", self.port), 10) as line:
            file = line.makefile("rwb")
        file.write(b'CONNECT {"verbose":false}\r\nSUB %s 1\r\nPING\r\n' % subject.encode())
        file.flush()
        while file.readline() != b"PONG\r\n":
            pass
        return file

    def request(self, subject, text):
        """The answer to a text, as JSON."""
        with self.hear("answers") as line:
            publish(line, subject, text.encode(), "answers")
            return json.loads(read_message(line))


def publish(line, subject, data, reply=""):
    line.write(b"PUB %s %s %d\r\n%s\r\n" % (subject.encode(), reply.encode(), len(data), data))
    line.flush()


def read_message(line):
    while not (head := line.readline()).startswith(b"MSG"):
        assert head, "the server has closed the connection"
    return line.read(int(head.split()[-1]))


class Line:
    """Passes what a client and the server say, and can cut it, hold it back, or deliver messages twice."""
    MESSAGE = re.compile(rb"H?MSG \S+ \S+ (?:\S+ )??(?:\d+ )?(\d+)\r\n")

    def __init__(self, server_port, twice=0.0, random=None):
        self.server_port, self.twice, self.random = server_port, twice, random
        self.port = find_port()
        self.is_held = False
        self.loop = asyncio.new_event_loop()
        self.writers = set()
        started = threading.Event()
        self.thread = threading.Thread(target=self.run, args=(started,), daemon=True)
        self.thread.start()
        started.wait()

    @property
    def url(self):
        return f"nats://127.0.0.1:{self.port}"

    def run(self, started):
        asyncio.set_event_loop(self.loop)
        self.loop.run_until_complete(asyncio.start_server(self.serve, "127.0.0.1", self.port))
        started.set()
        self.loop.run_forever()

    def stop(self):
        self.cut()
        asyncio.run_coroutine_threadsafe(self.end(), self.loop).result(5)
        self.loop.call_soon_threadsafe(self.loop.stop)
        self.thread.join()

    async def end(self):
        self.loop.set_exception_handler(lambda *_: None)  # streams complain of what is cancelled here
        ours = asyncio.current_task()
        tasks = [task for task in asyncio.all_tasks() if task is not ours]
        for task in tasks:
            task.cancel()
        await asyncio.gather(*tasks, return_exceptions=True)

    def hold(self, seconds):
        """As a network that is cut: nothing arrives, nobody is told. Then what was sent is lost with the connection."""
        self.is_held = True
        time.sleep(seconds)
        self.cut()
        self.is_held = False

    def cut(self):
        def close():
            for writer in list(self.writers):
                writer.transport.abort()
        self.loop.call_soon_threadsafe(close)

    async def serve(self, reader, writer):
        try:
            server_reader, server_writer = await asyncio.open_connection("127.0.0.1", self.server_port)
        except OSError:
            return writer.transport.abort()
        self.writers |= {writer, server_writer}
        await asyncio.gather(self.pump(reader, server_writer, False), self.pump(server_reader, writer, self.twice > 0))
        self.writers -= {writer, server_writer}

    async def pump(self, reader, writer, doubles):
        rest = b""
        try:
            while data := await reader.read(65536):
                while self.is_held:
                    await asyncio.sleep(0.05)
                if doubles:
                    rest, data = self.double(rest + data)
                writer.write(data)
                await writer.drain()
        except OSError:
            pass
        finally:
            writer.transport.abort()

    def double(self, data):
        """The protocol's lines, some of its messages twice; and what is not complete yet."""
        out = b""
        while True:
            line, found, rest = data.partition(b"\r\n")
            if not found:
                return data, out
            whole = len(line) + 2
            if message := self.MESSAGE.fullmatch(line + b"\r\n"):
                whole += int(message[1]) + 2
            if len(data) < whole:
                return data, out
            # Answers to requests are not repeated: nobody does that.
            repeats = message and b".inbox." not in line.split()[1] or b".deliver." in line
            out += data[:whole] * (2 if repeats and self.random.random() < self.twice else 1)
            data = data[whole:]


class Agent:
    def __init__(self, program, folder, name, url, *options):
        self.log = Path(folder) / f"{name}.log"
        self.command = [program, "agent", "--server", url, "--name", name, *(options or ["--simulated"])]
        self.start()

    def start(self):
        log = open(self.log, "ab")
        at = log.tell()
        self.process = subprocess.Popen(self.command, stdout=log, stderr=log)
        log.close()
        wait_until(f"{self.command} waits for tests",
                   lambda: b"waits for tests" in self.log.read_bytes()[at:] or self.process.poll() is not None)

    def kill(self):
        self.process.kill()
        self.process.wait()

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(20)


class Run:
    """A test that runs; its outcome as JSON."""

    def __init__(self, program, url, file, *options, environment=None):
        self.process = subprocess.Popen(
            [program, "run", str(file), "--quiet", "--json", *(["--server", url] if url else []), *options],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env={**os.environ, **(environment or {})})

    def wait(self, seconds=120):
        out, self.said = self.process.communicate(timeout=seconds)
        assert out, (self.process.returncode, self.said)
        outcome = json.loads(out)
        assert outcome["exit_status"] == self.process.returncode, (outcome, self.process.returncode)
        return outcome

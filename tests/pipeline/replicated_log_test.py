#!/usr/bin/python3
"""From event files to a real replicated log: three nodes of NATS JetStream, which keep three copies and write each to the disk before
they acknowledge it. The leader is killed half-way. VARNEL_NATS names the server."""
import itertools
import json
import os
import signal
import socket
import threading
import time
import unittest

from hand_over import HandOver
import endpoints

SERVER = os.environ.get("VARNEL_NATS", "nats-server")
EVENTS, EVENTS_A_FILE = 100_000, 5
WINDOW = 1000  # messages that wait for their acknowledgement at a time
CONFIGURATION = """server_name: node{number}
listen: 127.0.0.1:{client}
jetstream {{ store_dir: "{folder}/store{number}", sync_interval: always, max_file_store: 2GB }}
cluster {{ name: test, listen: 127.0.0.1:{route}, routes: [{routes}] }}
"""


INBOXES = itertools.count(os.getpid() << 20)


class Client:
    """NATS' text protocol, as far as this test needs it."""

    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port), 5)
        self.input = self.socket.makefile("rb")
        self.input.readline()
        self.inbox = b"inbox%d" % next(INBOXES)  # answers to another connection do not come here
        self.send(b'CONNECT {"verbose":false,"headers":true,"no_responders":true}\r\nSUB %s.* 1\r\n' % self.inbox)

    def close(self):
        self.input.close()
        self.socket.close()

    def send(self, data):
        self.socket.sendall(data)

    def receive(self):
        """The subject and content of the next message."""
        while True:
            words = self.input.readline().split()
            if not words:
                raise ConnectionError("the server has closed the connection")
            if words[0] == b"PING":
                self.send(b"PONG\r\n")
            elif words[0] == b"-ERR":
                raise ConnectionError(words)
            elif words[0] in (b"MSG", b"HMSG"):
                content = self.input.read(int(words[-1]) + 2)[:-2]
                return words[1].decode(), content[int(words[-2]) if words[0] == b"HMSG" else 0:]

    def ask(self, subject, question=b""):
        self.send(b"PUB %s %s.answer %d\r\n%s\r\n" % (subject.encode(), self.inbox, len(question), question))
        subject, answer = self.receive()
        if not answer:
            raise ConnectionError("no node answers")
        return json.loads(answer)

    def publish(self, identifier, line, number):
        head = b"NATS/1.0\r\nNats-Msg-Id: %s\r\n\r\n" % identifier
        self.send(b"HPUB events %s.%d %d %d\r\n%s%s\r\n" % (self.inbox, number, len(head), len(head) + len(line), head, line))

    def publish_all(self, lines):
        """Returns after the log has acknowledged each line."""
        left, waiting = list(enumerate(lines)), set()
        while left or waiting:
            while left and len(waiting) < WINDOW:
                number, line = left.pop()
                self.publish(json.dumps(json.loads(line)["event"]["id"]).encode(), line, number)
                waiting.add(number)
            subject, answer = self.receive()
            if "seq" not in (json.loads(answer) if answer else {}):
                raise ConnectionError(answer)
            waiting.remove(int(subject.partition(".")[2]))


class ReplicatedLog(HandOver):
    def setUp(self):
        super().setUp()
        ports = [self.free_port() for _ in range(6)]
        self.clients, routes = ports[:3], ports[3:]
        self.nodes = {}
        for number, (client, route) in enumerate(zip(self.clients, routes)):
            configuration = self.folder / f"node{number}.conf"
            configuration.write_text(CONFIGURATION.format(
                number=number, client=client, route=route, folder=self.folder,
                routes=", ".join(f"nats://127.0.0.1:{port}" for port in routes)))
            self.nodes[f"node{number}"] = self.start(f"node{number}.log", SERVER, "-c", configuration)

    @staticmethod
    def free_port():
        with socket.create_server(("127.0.0.1", 0)) as server:
            return server.getsockname()[1]

    def on_any_node(self, act, seconds=60):
        """Returns what the action returns for a connection to the first node with which it succeeds."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            for port in self.clients:
                try:
                    client = Client(port)
                except OSError:
                    continue
                try:
                    return act(client)
                except (OSError, ValueError):
                    time.sleep(0.2)
                finally:
                    client.close()
        self.fail(self.logs())

    def make_stream(self, client):
        made = client.ask("$JS.API.STREAM.CREATE.events", json.dumps(
            {"name": "events", "subjects": ["events"], "storage": "file", "num_replicas": 3}).encode())
        if "config" not in made:
            raise ConnectionError(made)

    def information(self):
        return self.on_any_node(lambda client: client.ask("$JS.API.STREAM.INFO.events"))

    def save(self):
        machines = [endpoints.Endpoint(number) for number in range(100)]
        for number in range(0, EVENTS, EVENTS_A_FILE):
            endpoints.save(self.events, machines[number % 100].document(number, 1000 * EVENTS_A_FILE, EVENTS_A_FILE))

    def kill_leader(self):
        while self.information()["state"]["messages"] < EVENTS // 2:
            time.sleep(0.2)
        self.killed = self.information()["cluster"]["leader"]
        os.kill(self.nodes[self.killed].pid, signal.SIGKILL)

    def ship(self, segment):
        lines = segment.read_bytes().splitlines()
        self.on_any_node(lambda client: client.publish_all(lines), 120)
        shipped = self.segments / "shipped"
        shipped.mkdir(exist_ok=True)
        for file in (segment.with_suffix(".json"), segment):
            file.rename(shipped / file.name)

    def test_nothing_is_lost_when_the_leader_is_killed(self):
        self.on_any_node(self.make_stream)
        self.collect()
        workers = [threading.Thread(target=work) for work in (self.save, self.kill_leader)]
        for worker in workers:
            worker.start()
        while self.shipped() < EVENTS:
            for segment in sorted(self.segments.glob("*.jsonl")):
                self.ship(segment)
            time.sleep(0.1)
        for worker in workers:
            worker.join()
        self.assertNotIn(self.information()["cluster"]["leader"], (self.killed, None))
        received = self.folder / "received.jsonl"
        received.write_bytes(b"".join(line + b"\n" for line in self.on_any_node(receive)))
        self.check(["cat", received], EVENTS, "three JetStream nodes, the leader killed")


def receive(client):
    """Returns the messages of the stream."""
    client.ask("$JS.API.CONSUMER.CREATE.events.reader", json.dumps({"stream_name": "events", "config": {
        "durable_name": "reader", "ack_policy": "none", "deliver_policy": "all", "num_replicas": 3}}).encode())
    lines = []
    for left in range(client.ask("$JS.API.STREAM.INFO.events")["state"]["messages"], 0, -WINDOW):
        count = b"%d" % min(left, WINDOW)
        client.send(b"PUB $JS.API.CONSUMER.MSG.NEXT.events.reader %s.next %d\r\n%s\r\n" % (client.inbox, len(count), count))
        lines += [client.receive()[1] for _ in range(int(count))]
    return lines


if __name__ == "__main__":
    unittest.main()

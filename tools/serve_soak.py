#!/usr/bin/env python3
"""tarnhost serve under mixed traffic for minutes: handles, threads and memory have to stay flat.  serve_soak.py [MINUTES]

Clients of all listeners, web sockets, FTP, names and servers that are dead, and a reader of the status page do what they do;
each minute the policy changes and more connections come than there are places, and the event file is full again and again.
Half the time is left to grow into; of the other half the last quarter may not need more than the first one, but for what
the system's allocator keeps. How fast each of them grows is said for an hour: a leak that a few minutes hide shows there.
Every answer is looked at. The last line says "steady" when all of that holds.
"""
import collections
import contextlib
import sys
import tempfile
import threading
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent / 'serve_tests'))

import servers
import serving
import traffic
import wire
from test_hostile import RawServer, memory_of, process_of

CLIENTS = 12
EVERY = 5  # seconds between two looks
DISTURBED = 60  # seconds between two changes of the policy
SLACK = {'memory': 24, 'threads': 4, 'handles': 40}  # megabytes, and counts
CONNECTIONS = 300
MEGABYTE = 1 << 20
FILES = 3  # of events, of a megabyte each
OPTIONS = ['--connections', str(CONNECTIONS), '--events-megabytes', '1', '--events-files', str(FILES)]


def echo(connection):
    """Changes to web sockets, then gives back what comes."""
    head = b''
    while not head.endswith(b'\r\n\r\n'):
        piece = connection.recv(1)
        if not piece:
            return
        head += piece
    connection.sendall(b'HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n'
                       b'Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n')
    while piece := connection.recv(65536):
        connection.sendall(piece)


def say_nothing(connection):
    while connection.recv(65536):
        pass


def look(process):
    return {'memory': memory_of(process), 'threads': len(list(Path(f'/proc/{process}/task').iterdir())),
            'handles': len(list(Path(f'/proc/{process}/fd').iterdir()))}


def disturb(host, clients, ports, number):
    """The policy changes under the traffic; the crowd comes while the clients pause, whose places it would take."""
    since = f'[[malicious_sites]]\nhost = "since{number}.example"\n' * (number % 2)
    changed = host.change(wire.POLICY + since)
    if changed['event'] != 'changed':
        raise ValueError(f'the policy was not taken: {changed}')
    with contextlib.ExitStack() as pause:
        for client in clients:
            pause.enter_context(client.turn)
        traffic.crowd(host, ports, CONNECTIONS)


def slope(values):
    """How much more in an hour, of values that stand EVERY seconds apart: the line with the least squares."""
    middle, mean = (len(values) - 1) / 2, sum(values) / len(values)
    spread = sum((i - middle) ** 2 for i in range(len(values)))
    return sum((i - middle) * (value - mean) for i, value in enumerate(values)) / spread * 3600 / EVERY if spread else 0


def watch(host, clients, ports, minutes, process):
    """The looks, one every EVERY seconds, and what went wrong beside the clients."""
    end = time.monotonic() + minutes * 60
    threads = [threading.Thread(target=client.run, args=(end,)) for client in clients]
    for thread in threads:
        thread.start()
    looks, wrong = [], []
    next_look, next_change, changes = time.monotonic() + EVERY, time.monotonic() + DISTURBED / 2, 0
    while time.monotonic() < end:
        time.sleep(max(0.1, min(next_look, end) - time.monotonic()))
        next_look += EVERY
        looks.append(look(process))
        if len(looks) % 12 == 1:
            print(f'{sum(sum(client.done.values()) for client in clients):>9} done  {looks[-1]}', flush=True)
        with host.changed:
            del host.events[1:]  # this program would grow, not the one that is watched
        if time.monotonic() >= next_change:
            next_change += DISTURBED
            changes += 1
            try:
                disturb(host, clients, ports, changes)
            except (OSError, ValueError) as error:
                wrong.append(f'change {changes}: {error!r}')
    for thread in threads:
        thread.join()
    return looks, wrong, changes


def main():
    minutes = float(sys.argv[1]) if len(sys.argv) > 1 else 10
    with contextlib.ExitStack() as stack:
        folder = Path(stack.enter_context(tempfile.TemporaryDirectory(dir=serving.ROOT / 'build')))
        names = stack.enter_context(servers.DnsServer())
        stack.enter_context(servers.FtpServer())
        ports = {'origin': stack.enter_context(serving.Origin()).port, 'echo': stack.enter_context(RawServer(echo)).port,
                 'silent': stack.enter_context(RawServer(say_nothing)).port}
        events = folder / 'events.jsonl'
        host = stack.enter_context(wire.WireServing(folder / 'soak', '--events', events, *OPTIONS,
                                                    dns_upstream=names.address, status='127.0.0.1:0'))
        clients = [traffic.Traffic(host, ports, number) for number in range(CLIENTS)]
        looks, wrong, changes = watch(host, clients, ports, minutes, process_of(folder.name))
        files = {file.name: file.stat().st_size for file in folder.glob('events.jsonl*')}
    done = sum((collections.Counter(client.done) for client in clients), collections.Counter())
    wrong += [text for client in clients for text in client.wrong]
    half = looks[len(looks) // 2:]
    quarter = max(1, len(half) // 2)
    flat = True
    for what, slack in SLACK.items():
        values = [one[what] for one in half]
        first, last = max(values[:quarter]), max(values[-quarter:])
        flat = flat and last <= first + slack
        print(f'{what}: at most {first:.0f} in the third quarter, {last:.0f} in the last, {looks[0][what]:.0f} at first; '
              f'{slope(values):+.1f} in an hour')
    print(f'{dict(done)}, {changes} changes of the policy, files of events: {files}')
    print(f'{done.total()} done, {len(wrong)} wrong {wrong[:3]}')
    is_kept = 1 <= len(files) <= FILES and all(size <= 1.2 * MEGABYTE for size in files.values())
    is_all = len(done) == len({'proxy', 'cut', 'socks', 'blocked_hello', 'dns', 'ftp', 'upgrade', 'status_stream',
                               'dead_name', 'silent_server'})
    if not (flat and is_kept and is_all and changes) or wrong or done.total() < minutes * 60 or len(looks) < 4:
        sys.exit('not steady')
    print(f'steady for {minutes:g} minutes')


if __name__ == '__main__':
    main()

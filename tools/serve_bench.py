#!/usr/bin/env python3
"""tarnhost serve beside what a person would pick instead.  serve_bench.py [SECONDS]   of each figure, 4 without

Everything stands on the loopback of this machine, one subject after the other, each started anew. The load comes from wrk:
of the load generators that distributions have it needs the least processor time for a request, keeps connections alive or
opens each anew, gives percentiles, and its requests are free text, so that they can be those for a proxy. The server behind
all subjects is nginx with a page of 1 KB. Results: build/bench/serve.json and serve.md.
"""
import contextlib
import datetime
import json
import os
import platform
import resource
import socket
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent / 'serve_bench'))

import peers

CONNECTIONS = 32
FRESH_CONNECTIONS = 8
IDLE = 2000
BLOCKED_TIMES = 200
SMALL, LARGE = 100, 100_000


class Subject:
    """Where requests go: to the server itself (no proxy), or to a proxy."""

    def __init__(self, origin, program=None):
        self.origin = origin
        self.program = program
        self.port = program.port if program else origin.port
        self.host = f'localhost:{origin.port}'

    def target(self, path, host=None):
        return f'http://{host or self.host}{path}' if self.program else path

    def wrk(self, seconds, connections, mode='keep', pause=0):
        command = ['wrk', '--threads', '1', '--connections', connections, '--duration', f'{seconds}s', '--timeout', '30s',
                   '--script', peers.ROOT / 'tools' / 'serve_bench' / 'request.lua', f'http://127.0.0.1:{self.port}',
                   '--', self.target('/page'), self.host, mode, pause]
        ran = subprocess.run(list(map(str, command)), capture_output=True, text=True, check=True)
        told = json.loads(ran.stdout.splitlines()[-1])
        if told['requests'] == 0 or told['failed'] > told['requests'] / 1000:
            raise RuntimeError(f'{told["failed"]} of {told["requests"]} requests failed: {ran.stdout}')
        told['rate'] = told['requests'] / told['seconds']
        return told

    def ask(self, path='/page', host=None, close=True):
        """An open connection and what came over it; all of it with close, else the first bytes."""
        connection = socket.create_connection(('127.0.0.1', self.port), timeout=60)
        connection.sendall(f'GET {self.target(path, host)} HTTP/1.1\r\nHost: {host or self.host}\r\n'
                           f'{"Connection: close" if close else "Connection: keep-alive"}\r\n\r\n'.encode())
        said = connection.recv(65536)
        while close and (piece := connection.recv(65536)):
            said += piece
        return connection, said

    def check(self):
        """That it lets through what it should, and nothing else."""
        connection, said = self.ask()
        connection.close()
        if not said.startswith(b'HTTP/1.') or b' 200 ' not in said.split(b'\r\n')[0] or not said.endswith(b'x' * 1024):
            raise RuntimeError(f'no page: {said[:200]}')

    def blocked(self):
        """Milliseconds from the connection's beginning to the end of the answer."""
        times = []
        for _ in range(BLOCKED_TIMES):
            begin = time.perf_counter()
            connection, said = self.ask('/', peers.BLOCKED)
            times.append((time.perf_counter() - begin) * 1000)
            connection.close()
            first = said.split(b'\r\n')[0]
            # One of them answers with a page of its own and 200.
            if b' 403' not in first and b'guardian' not in said.lower():
                raise RuntimeError(f'not blocked: {said[:200]}')
        return statistics.median(times), sorted(times)[int(len(times) * 0.99)]

    def download(self):
        """Megabytes a second of 200 MB, the median of three."""
        rates = []
        for _ in range(3):
            command = ['curl', '--silent', '--output', '/dev/null', '--write-out', '%{size_download} %{time_total}']
            if self.program:
                command += ['--proxy', f'http://127.0.0.1:{self.port}']
            ran = subprocess.run([*command, f'http://{self.host}/large'], capture_output=True, text=True, check=True,
                                 env={**os.environ, 'no_proxy': '', 'NO_PROXY': ''})
            size, seconds = ran.stdout.split()
            if int(size) != 200 * 1024 * 1024:
                raise RuntimeError(f'{size} bytes came')
            rates.append(200 / float(seconds))
        return statistics.median(rates)

    def idle(self):
        """Megabytes before and with idle connections of which each has had an answer, and how many those are."""
        before = self.program.memory()
        with contextlib.ExitStack() as stack:
            answered = 0
            for _ in range(IDLE):
                try:
                    connection, said = self.ask(close=False)
                except OSError:
                    break
                stack.enter_context(connection)
                answered += b' 200 ' in said.split(b'\r\n')[0]
            time.sleep(0.5)
            return before, self.program.memory(), answered


def measure(subject, direct, seconds):
    subject.check()
    subject.wrk(1, CONNECTIONS)  # warm
    keep = subject.wrk(seconds, CONNECTIONS)
    fresh = subject.wrk(seconds, FRESH_CONNECTIONS, 'close')
    result = {'kept_alive_per_s': keep['rate'], 'fresh_per_s': fresh['rate'], 'fresh_p99_ms': fresh['p99'],
              'download_mb_s': subject.download()}
    # Half of what it can: each connection waits so long between its requests.
    pause = max(1, round(2 * 1000 * CONNECTIONS / keep['rate']))
    half = subject.wrk(seconds, CONNECTIONS, pause=pause)
    result.update(half_load_per_s=half['rate'], half_p50_ms=half['p50'], half_p99_ms=half['p99'])
    if subject.program:
        base = direct.wrk(seconds, CONNECTIONS, pause=pause)
        result.update(added_p50_ms=half['p50'] - base['p50'], added_p99_ms=half['p99'] - base['p99'])
        if subject.program.blocks:
            result['blocked_p50_ms'], result['blocked_p99_ms'] = subject.blocked()
        result['memory_mb'], result['memory_idle_mb'], result['idle_connections'] = subject.idle()
        result['started_s'] = subject.program.started_in
    return result


def subjects(folder):
    for entries in (SMALL, LARGE):
        yield f'tarnhost serve, {entries:,} entries', lambda entries=entries: peers.Tarnhost(folder, entries)
    yield 'tarnhost serve, scanning off', lambda: peers.Tarnhost(folder, 0, scanning=False)
    for kind in (peers.E2guardian, peers.Privoxy, peers.Squid):
        for entries in (SMALL, LARGE):
            yield f'{kind.name}, {entries:,} entries', lambda kind=kind, entries=entries: kind(folder, entries)


COLUMNS = [('requests/s, kept alive', 'kept_alive_per_s', '{:,.0f}'), ('fresh', 'fresh_per_s', '{:,.0f}'),
           ('added at half load, ms: p50', 'added_p50_ms', '{:.2f}'), ('p99', 'added_p99_ms', '{:.2f}'),
           ('200 MB, MB/s', 'download_mb_s', '{:,.0f}'), ('blocked after, ms', 'blocked_p50_ms', '{:.2f}'),
           ('memory, MB', 'memory_mb', '{:.0f}'), ('with 2,000 idle', 'memory_idle_mb', '{:.0f}')]


def table(results):
    lines = ['| | ' + ' | '.join(name for name, _, _ in COLUMNS) + ' |', '|---' * (len(COLUMNS) + 1) + '|']
    for name, result in results.items():
        cells = [form.format(result[key]) if key in result else '' for _, key, form in COLUMNS]
        if result.get('idle_connections', IDLE) < IDLE:
            cells[-1] += f' ({result["idle_connections"]} of them answered)'
        if 'error' in result:
            cells[0] = result['error']
        lines.append(f'| {name} | ' + ' | '.join(cells) + ' |')
    return '\n'.join(lines)


def goals(results):
    small, large = (results[f'tarnhost serve, {entries:,} entries'] for entries in (SMALL, LARGE))
    other = results[f'e2guardian, {LARGE:,} entries']
    off = results['tarnhost serve, scanning off']
    yield ('with 100,000 entries no slower than with 100 (5 % of noise)',
           large['kept_alive_per_s'] >= 0.95 * small['kept_alive_per_s'],
           f'{large["kept_alive_per_s"]:,.0f} and {small["kept_alive_per_s"]:,.0f} requests/s')
    yield ('p99 added at half load below 1 ms', large['added_p99_ms'] < 1,
           f'{large["added_p99_ms"]:.2f} ms; with scanning off {off["added_p99_ms"]:.2f} ms')
    yield ('twice the requests per second of e2guardian', large['kept_alive_per_s'] >= 2 * other['kept_alive_per_s'],
           f'{large["kept_alive_per_s"]:,.0f} and {other["kept_alive_per_s"]:,.0f}; with scanning off '
           f'{off["kept_alive_per_s"]:,.0f}')
    yield ('2,000 idle connections below 100 MB', large['memory_idle_mb'] - large['memory_mb'] < 100,
           f'{large["memory_idle_mb"] - large["memory_mb"]:.0f} MB more, {large["memory_idle_mb"]:.0f} MB in all')


def main():
    seconds = int(sys.argv[1]) if len(sys.argv) > 1 else 4
    if peers.missing():
        sys.exit(f'Missing: {", ".join(peers.missing())}; ./dev bench serve installs them.')
    hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (min(hard, peers.HANDLES), hard))
    results = {}
    load = os.getloadavg()[0]
    with tempfile.TemporaryDirectory(prefix='serve-bench-') as folder:
        Path(folder).chmod(0o755)
        with peers.Origin(folder) as origin:
            direct = Subject(origin)
            print('no proxy', flush=True)
            results['no proxy'] = measure(direct, direct, seconds)
            for name, start in subjects(folder):
                print(name, flush=True)
                try:
                    with start() as program:
                        results[name] = measure(Subject(origin, program), direct, seconds)
                except (RuntimeError, OSError, subprocess.CalledProcessError) as error:
                    results[name] = {'error': str(error).splitlines()[0][:200]}
                    print(f'  {error}', file=sys.stderr, flush=True)
    place = peers.ROOT / 'build' / 'bench'
    place.mkdir(parents=True, exist_ok=True)
    about = {'when': datetime.datetime.now(datetime.timezone.utc).isoformat(timespec='seconds'), 'seconds': seconds,
             'processors': os.cpu_count(), 'kernel': platform.release(), 'load_before': load, 'results': results}
    (place / 'serve.json').write_text(json.dumps(about, indent=2) + '\n', encoding='utf-8')
    text = table(results)
    (place / 'serve.md').write_text(text + '\n', encoding='utf-8')
    print(f'\n{text}\n')
    if any('error' in result for result in results.values()):
        sys.exit('Not everything could be measured.')
    for goal, is_met, figures in goals(results):
        print(f'{"met    " if is_met else "NOT MET"}  {goal}: {figures}')
    print(f'{os.cpu_count()} processors, load before the run {load:.1f}; results in build/bench/serve.json and serve.md')


if __name__ == '__main__':
    main()

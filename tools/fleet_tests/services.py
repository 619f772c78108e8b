"""PostgreSQL and rsyslog of a test's own: in a folder of theirs, on ports and sockets of theirs."""
import os
import shutil
import socket
import subprocess
import time
from pathlib import Path


def wait_until(what, condition, seconds=60):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise TimeoutError(f'{what}: not within {seconds} s')
        time.sleep(0.05)


def free_port():
    with socket.socket() as probe:
        probe.bind(('127.0.0.1', 0))
        return probe.getsockname()[1]


class Database:
    """A cluster on a socket alone. PostgreSQL refuses to run as root; then it runs as the package's own user."""

    def __init__(self, folder):
        self.folder = Path(folder)
        self.programs = max(Path('/usr/lib/postgresql').glob('*/bin'), key=lambda path: int(path.parent.name))
        self.user = ['setpriv', '--reuid=postgres', '--regid=postgres', '--clear-groups'] if os.geteuid() == 0 else []
        self.connection = f'postgresql:///tarn?host={self.folder}&user=keeper'

    def __enter__(self):
        self.folder.mkdir(mode=0o755)
        if self.user:
            shutil.chown(self.folder, 'postgres')
        self.call('initdb', '--pgdata', self.folder / 'data', '--auth=trust', '--username=keeper', '--encoding=UTF8',
                  '--no-locale', '--no-sync')
        self.call('pg_ctl', '--pgdata', self.folder / 'data', '--log', self.folder / 'log', '--wait', '-o',
                  f"-c listen_addresses='' -c fsync=off -k {self.folder}", 'start')
        self.call('createdb', '--host', self.folder, '--username=keeper', 'tarn')
        return self

    def __exit__(self, *_):
        self.call('pg_ctl', '--pgdata', self.folder / 'data', '--mode=immediate', 'stop')

    def call(self, program, *arguments):
        with open(f'{self.folder}.{program}.out', 'wb') as out:  # pg_ctl leaves its output to the server
            subprocess.run([*self.user, self.programs / program, *map(str, arguments)], check=True,
                           stdin=subprocess.DEVNULL, stdout=out, stderr=out, cwd='/')

    def ask(self, text):
        """The rows of a query, each a tuple of texts."""
        ran = subprocess.run([self.programs / 'psql', '--no-psqlrc', '--quiet', '--no-align', '--tuples-only', '--set',
                              'ON_ERROR_STOP=1', '--field-separator=\t', self.connection], input=text,
                             capture_output=True, text=True, check=False)
        if ran.returncode != 0:
            raise RuntimeError(ran.stderr)
        return [tuple(line.split('\t')) for line in ran.stdout.splitlines()]


class LogDaemon:
    """rsyslog with a configuration as it is shipped, but for the places that texts are put in the stead of."""

    def __init__(self, folder, shipped, places, further=''):
        self.folder = Path(folder)
        self.folder.mkdir()
        text = Path(shipped).read_text(encoding='utf-8')
        for place, instead in {'/var/spool/rsyslog': str(self.folder), **places}.items():
            if place not in text:
                raise ValueError(f'{shipped} does not hold {place}')
            text = text.replace(place, instead)
        self.configuration = self.folder / 'rsyslog.conf'
        self.configuration.write_text(further + text, encoding='utf-8')
        self.daemon = None

    def check(self):
        """What rsyslog finds wrong with it."""
        ran = subprocess.run(['/usr/sbin/rsyslogd', '-N1', '-f', self.configuration], capture_output=True, text=True,
                             check=False)
        return '' if ran.returncode == 0 else ran.stderr

    def __enter__(self):
        with open(self.folder / 'errors', 'wb') as errors:
            self.daemon = subprocess.Popen(['/usr/sbin/rsyslogd', '-n', '-f', self.configuration, '-i',
                                            self.folder / 'pid'], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                           stderr=errors)
        return self

    def __exit__(self, *_):
        self.daemon.terminate()
        self.daemon.wait()

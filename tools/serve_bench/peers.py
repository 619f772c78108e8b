"""What the bench measures side by side: the web server behind all of them, tarnhost serve, and three other filters.
Each is started by the bench on ports of its own, with the same list of blocked hosts, and filters addresses alone."""
import contextlib
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BIN = ROOT / 'build' / 'windows' / 'bin'
PUBLIC = '198.51.100.7'  # the library does not ask its threat lists about private servers
START_LIMIT = 300  # seconds
HANDLES = 20_000


def free_port():
    with socket.socket() as probe:
        probe.bind(('127.0.0.1', 0))
        return probe.getsockname()[1]


def hosts(count):
    return [f'site{number}.list{number % 97}.example' for number in range(count)]


BLOCKED = hosts(50)[-1]  # in every list


class Program:
    """One that runs in the foreground until the block ends."""
    name = ''
    blocks = True  # the site that is asked for as a blocked one

    def __init__(self, folder, entries=0):
        self.folder = Path(folder) / re.sub(r'\W+', '-', f'{self.name} {entries}')
        self.folder.mkdir(parents=True)
        self.folder.chmod(0o755)
        self.entries = entries
        self.port = free_port()

    def __enter__(self):
        self.prepare()
        with open(self.folder / 'output', 'wb') as output:
            self.process = subprocess.Popen(list(map(str, self.command())), stdout=output, stderr=output,
                                            stdin=subprocess.DEVNULL, cwd=self.folder, start_new_session=True)
        begin = time.monotonic()
        while not self.answers():
            if self.process.poll() is not None or time.monotonic() - begin > START_LIMIT:
                self.__exit__()
                raise RuntimeError(f'{self.name} does not start: {(self.folder / "output").read_text()[-2000:]}')
            time.sleep(0.1)
        self.started_in = time.monotonic() - begin
        return self

    def __exit__(self, *_):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.process.pid, self.last_signal)
        try:
            self.process.wait(30)
        except subprocess.TimeoutExpired:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()

    last_signal = signal.SIGTERM

    def prepare(self):
        pass

    def command(self):
        raise NotImplementedError

    def answers(self):
        with contextlib.suppress(OSError), socket.create_connection(('127.0.0.1', self.port), timeout=1):
            return True
        return False

    def processes(self):
        """All that belong to it."""
        own = []
        for entry in Path('/proc').iterdir():
            if entry.name.isdigit():
                with contextlib.suppress(OSError):
                    if os.getsid(int(entry.name)) == self.process.pid:
                        own.append(int(entry.name))
        return own

    def memory(self):
        """Megabytes, each page that processes share counted once."""
        total = 0
        for process in self.processes():
            with contextlib.suppress(OSError):
                for line in Path(f'/proc/{process}/smaps_rollup').read_text().splitlines():
                    if line.startswith('Pss:'):
                        total += int(line.split()[1])
        return total / 1024


class Origin(Program):
    """nginx: it answers many times as fast as any of the filters."""
    name = 'nginx'

    def prepare(self):
        (self.folder / 'page').write_bytes(b'x' * 1024)
        with open(self.folder / 'large', 'wb') as large:
            large.truncate(200 * 1024 * 1024)
        (self.folder / 'nginx.conf').write_text(f'''
            daemon off; pid nginx.pid; worker_processes 1; error_log error.log crit; worker_rlimit_nofile {HANDLES};
            {'user root;' if os.geteuid() == 0 else ''}
            events {{ worker_connections {HANDLES}; }}
            http {{
                access_log off; keepalive_requests 100000000; keepalive_timeout 600; sendfile on; default_type text/html;
                client_body_temp_path body; proxy_temp_path proxy; fastcgi_temp_path fast; uwsgi_temp_path u; scgi_temp_path s;
                server {{ listen 127.0.0.1:{self.port} backlog=4096; root {self.folder}; }}
            }}''')

    def command(self):
        return ['/usr/sbin/nginx', '-p', self.folder, '-c', self.folder / 'nginx.conf']


class Tarnhost(Program):
    name = 'tarnhost serve'
    last_signal = signal.SIGINT

    def __init__(self, folder, entries, scanning=True):
        if not scanning:
            self.name = 'tarnhost serve, scanning off'
        super().__init__(folder, entries)
        self.scanning = self.blocks = scanning

    def prepare(self):
        for module in [*BIN.glob('*.dll'), *BIN.glob('*.DLL')]:
            shutil.copy(module, self.folder)
        listed = hosts(self.entries) if self.scanning else []
        on = str(self.scanning).lower()
        lines = ['[features]', f'browsing_protection = {on}', f'anti_phishing = {on}', 'https_inspection = false',
                 'intrusion_prevention = false']
        for table in ('malicious_sites', 'phishing_sites'):
            lines += [f'[[{table}]]\nhost = "{host}"' for host in listed]
        lines += [f'[[sites]]\naddress = "{host}"\ncategories = [40]' for host in listed]
        lines += ['[parental]', f'mode = {int(self.scanning)}']
        if self.scanning:
            lines += ['[[parental.users]]\nprofile = true\nblock_list = true\ncategories = true\nblocked_categories = [41]']
        lines += [f'[[parental.users.blocked_sites]]\nhost = "{host}"' for host in listed]
        policy = self.folder / 'tarn-policy.toml'
        policy.write_text('\n'.join(lines) + '\n')
        os.utime(policy, (1_000_000_000, 1_000_000_000))

    def command(self):
        return [ROOT / 'cmake' / 'wine-run', BIN / 'tarnhost.exe', '--quiet', '--install-folder', self.folder,
                '--map', f'127.0.0.1={PUBLIC}', 'serve', '--proxy', f'127.0.0.1:{self.port}', '--socks', 'off',
                '--status', 'off', '--hosts', 'localhost=127.0.0.1', '--connections', '6000']

    def processes(self):
        """The Windows program; Wine's server and services belong to every program of the prefix."""
        own = []
        for entry in Path('/proc').iterdir():
            if entry.name.isdigit():
                with contextlib.suppress(OSError):
                    line = (entry / 'cmdline').read_bytes().decode(errors='replace')
                    if 'tarnhost.exe' in line and f'127.0.0.1:{self.port}' in line and 'wine-run' not in line:
                        own.append(int(entry.name))
        return own


class Squid(Program):
    name = 'squid'

    def prepare(self):
        (self.folder / 'blocked').write_text('\n'.join(hosts(self.entries)) + '\n')
        (self.folder / 'squid.conf').write_text(f'''
http_port 127.0.0.1:{self.port}
acl blocked dstdomain "{self.folder}/blocked"
http_access deny blocked
http_access allow localhost
http_access deny all
cache deny all
access_log none
cache_log {self.folder}/cache.log
cache_store_log none
pid_filename {self.folder}/squid.pid
coredump_dir {self.folder}
shutdown_lifetime 0 seconds
visible_hostname bench.example
max_filedescriptors {HANDLES}
client_idle_pconn_timeout 10 minutes
''')
        if os.geteuid() == 0:  # it goes on as the package's own user
            shutil.chown(self.folder, 'proxy')

    def __exit__(self, *_):
        super().__exit__()
        for left in Path('/dev/shm').glob(f'bench{self.port}-*'):
            left.unlink()

    def command(self):
        return ['/usr/sbin/squid', '-N', '-n', f'bench{self.port}', '-f', self.folder / 'squid.conf']


class Privoxy(Program):
    name = 'privoxy'

    def prepare(self):
        (self.folder / 'block.action').write_text('{+block{listed}}\n' + '\n'.join(hosts(self.entries)) + '\n')
        (self.folder / 'config').write_text(f'''
confdir {self.folder}
logdir {self.folder}
templdir /etc/privoxy/templates
actionsfile block.action
listen-address 127.0.0.1:{self.port}
toggle 1
keep-alive-timeout 600
default-server-timeout 600
connection-sharing 0
tolerate-pipelining 1
max-client-connections 4000
''')

    def command(self):
        return ['/usr/sbin/privoxy', '--no-daemon', self.folder / 'config']


class E2guardian(Program):
    name = 'e2guardian'

    def prepare(self):
        place = self.folder / 'etc'
        shutil.copytree('/etc/e2guardian', place)
        for file in place.rglob('*'):
            if file.is_file():
                with contextlib.suppress(UnicodeDecodeError):
                    file.write_text(file.read_text(encoding='latin-1').replace('/etc/e2guardian', str(place)),
                                    encoding='latin-1')
        for name in ('bannedphraselist', 'weightedphraselist', 'exceptionphraselist', 'bannedsitelist',
                     'bannedregexpurllist', 'bannedextensionlist', 'bannedmimetypelist'):
            (place / 'lists' / name).write_text('')
        (place / 'lists' / 'bannedsitelist').write_text('\n'.join(hosts(self.entries)) + '\n')
        settings = {'filterip': '127.0.0.1', 'filterports': self.port, 'loglevel': 0, 'nologger': 'on',
                    'weightedphrasemode': 0, 'phrasefiltermode': 0, 'pcontimeout': 300, 'httpworkers': 2500,
                    'daemonuser': "'root'", 'daemongroup': "'root'", 'pidfilename': f"'{self.folder}/pid'",
                    'loglocation': f"'{self.folder}/log'", 'statlocation': f"'{self.folder}/stats'"}
        self.write(place / 'e2guardian.conf', settings)
        self.write(place / 'e2guardianf1.conf', {'disablecontentscan': 'on', 'weightedphrasemode': 0})

    @staticmethod
    def write(file, settings):
        kept = [line for line in file.read_text(encoding='latin-1').splitlines()
                if line.split('=')[0].strip() not in settings]
        file.write_text('\n'.join(kept + [f'{key} = {value}' for key, value in settings.items()]) + '\n',
                        encoding='latin-1')

    def command(self):
        return ['/usr/sbin/e2guardian', '-N', '-c', self.folder / 'etc' / 'e2guardian.conf']


def missing():
    return [program for program in ('/usr/sbin/nginx', '/usr/sbin/squid', '/usr/sbin/privoxy', '/usr/sbin/e2guardian',
                                    '/usr/bin/wrk') if not Path(program).exists()]


if __name__ == '__main__':
    sys.exit(__doc__)

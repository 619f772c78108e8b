"""A Windows of a test's own: a copy of the project's Wine prefix, which ends with the test."""
import contextlib
import os
import shutil
import subprocess
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
WINE_RUN = ROOT / 'cmake' / 'wine-run'
SERVER = ROOT / 'tools' / 'wine_server.sh'
REGISTRY = ('system.reg', 'user.reg', 'userdef.reg')
APP_PATH = r'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\App Paths\CoreScan.exe'


class WinePrefix:
    def __enter__(self):
        subprocess.run([WINE_RUN, 'cmd', '/c', 'exit'], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                       stdin=subprocess.DEVNULL, check=False)  # makes the project's own at the first use
        self.folder = Path(tempfile.mkdtemp(prefix='prefix-', dir=ROOT / 'build'))
        whole = Path(os.environ.get('WINEPREFIX', ROOT / 'build' / 'wine'))
        for name in ('drive_c', 'dosdevices'):
            shutil.copytree(whole / name, self.folder / name, symlinks=True, copy_function=os.link)
        for name in (*REGISTRY, '.update-timestamp', '.ready'):
            if (whole / name).exists():
                shutil.copy(whole / name, self.folder)
        self.environment = {**os.environ, 'WINEPREFIX': str(self.folder)}
        self.environment.pop('TARN_WINE_LOG', None)
        # One server for all programs of the test: one that ends takes the next program's start with it.
        started = subprocess.run([SERVER, 'start'], env=self.environment, stdout=subprocess.DEVNULL, check=False)
        if started.returncode != 0:
            self.__exit__()
            raise RuntimeError('Wine does not run')
        return self

    def __exit__(self, *_):
        subprocess.run(['wineserver', '-k9'], env=self.environment, check=False)
        subprocess.run(['wineserver', '-w'], env=self.environment, check=False)
        shutil.rmtree(self.folder)

    def run(self, *command, folder=None):
        """Exit status and output, with the line ends of this machine; output goes through a file, so that no service
        that starts meanwhile holds it open."""
        with tempfile.TemporaryFile() as output:
            status = subprocess.run([WINE_RUN, *map(str, command)], env=self.environment, stdin=subprocess.DEVNULL,
                                    stdout=output, stderr=output, cwd=folder, check=False, timeout=120).returncode
            output.seek(0)
            return status, output.read().decode(errors='replace').replace('\r\n', '\n')

    @contextlib.contextmanager
    def running(self, *command):
        """A program that ends with its standard input, which is that of the block."""
        with subprocess.Popen([WINE_RUN, *map(str, command)], env=self.environment, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as program:
            try:
                yield program
            finally:
                program.stdin.close()

    def path(self, windows):
        """Where C:\\… of this prefix is."""
        return self.folder / 'drive_c' / windows.removeprefix('C:\\').replace('\\', '/')

    def register(self, value):
        """Sets the install folder's value; None takes the key away."""
        if value is None:
            status, said = self.run('reg', 'delete', APP_PATH, '/f')
        else:
            status, said = self.run('reg', 'add', APP_PATH, '/v', 'Path', '/t', 'REG_SZ', '/d', value, '/f')
        if status != 0 or self.registered_folder() != value:
            raise RuntimeError(f'The install folder is not {value}: {said}')

    def registered_folder(self):
        """What the library would find, or None."""
        status, said = self.run('reg', 'query', APP_PATH, '/v', 'Path')
        values = [line.split('REG_SZ', 1)[1].strip() for line in said.splitlines() if 'REG_SZ' in line]
        return values[0] if status == 0 and values else None


def windows_path(path):
    """A path of this machine as the programs under Wine name it; that of a folder without a backslash at its end."""
    return 'Z:' + str(path).replace('/', '\\')

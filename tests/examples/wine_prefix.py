"""A Windows of a test's own, whose registry nobody else sees: the project's Wine prefix with linked files and own keys."""
import os
import shutil
import subprocess
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
WINE_RUN = ROOT / 'cmake' / 'wine-run'
APP_PATH = r'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\App Paths\CoreScan.exe'


class WinePrefix:
    def __enter__(self):
        whole = Path(os.environ.get('WINEPREFIX', ROOT / 'build' / 'wine'))
        subprocess.run([WINE_RUN, 'cmd', '/c', 'exit'], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, check=False)  # makes the project's own at the first use
        self.folder = Path(tempfile.mkdtemp(prefix='examples-', dir=ROOT / 'build'))
        for name in ('drive_c', 'dosdevices'):
            shutil.copytree(whole / name, self.folder / name, symlinks=True, copy_function=os.link)
        for file in whole.iterdir():
            if file.is_file():
                shutil.copy(file, self.folder)
        self.environment = {**os.environ, 'WINEPREFIX': str(self.folder)}
        self.environment.pop('TARN_WINE_LOG', None)
        return self

    def __exit__(self, *_):
        for option in ('-k', '-w'):
            subprocess.run(['wineserver', option], env=self.environment, check=False)
        shutil.rmtree(self.folder, ignore_errors=True)

    def run(self, *command):
        """Exit status and output. The output goes through a file, so that no service that starts meanwhile holds it."""
        with tempfile.TemporaryFile() as output:
            status = subprocess.run([WINE_RUN, *map(str, command)], env=self.environment, stdin=subprocess.DEVNULL,
                                    stdout=output, stderr=output, check=False, timeout=120).returncode
            output.seek(0)
            return status, output.read().decode(errors='replace').replace('\r\n', '\n')

    def register(self, value):
        """Sets the install folder's value; None takes the key away."""
        if value is None:
            status, said = self.run('reg', 'delete', APP_PATH, '/f')
        else:
            status, said = self.run('reg', 'add', APP_PATH, '/v', 'Path', '/d', value, '/f')
        assert status == 0, said


def windows_path(folder):
    """A folder of this machine as the programs under Wine name it, with the backslash at its end."""
    return 'Z:' + str(folder).replace('/', '\\') + '\\'

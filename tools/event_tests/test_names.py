"""Names beyond ASCII reach tarnhost and its events whole, also where no locale is set, as in a service or a container."""
import json
import os
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
TARNHOST = ROOT / 'build' / 'windows' / 'bin' / 'tarnhost.exe'
CAPTURE = ROOT / 'tests' / 'captures' / 'dns_basic.pcap'
LOCALE = ('LANG', 'LC_ALL', 'LC_CTYPE')


class Names(unittest.TestCase):
    def test_a_capture_is_found_and_named_without_a_locale(self):
        environment = {name: value for name, value in os.environ.items() if name not in LOCALE}
        with tempfile.TemporaryDirectory(dir=ROOT / 'build') as folder:
            capture = Path(folder, 'cäp 日.pcap')
            shutil.copy(CAPTURE, capture)
            ended = subprocess.run([ROOT / 'cmake' / 'wine-run', TARNHOST, '--json', 'replay', capture],
                                   capture_output=True, stdin=subprocess.DEVNULL, env=environment, check=False,
                                   timeout=300)
        self.assertEqual(ended.returncode, 0, ended.stdout[-2000:] + ended.stderr)
        events = [json.loads(line) for line in ended.stdout.decode('utf-8').splitlines()]
        self.assertEqual({event['capture'] for event in events if 'capture' in event}, {capture.name})


if __name__ == '__main__':
    unittest.main()

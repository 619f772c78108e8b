"""The long capture of the bench: as many frames as it says, and no connection of one round in the next."""
import importlib.util
import re
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parent.parent.parent / 'bench' / 'mixed_capture.py'


def load():
    found = importlib.util.spec_from_file_location('mixed_capture', SCRIPT)
    module = importlib.util.module_from_spec(found)
    found.loader.exec_module(module)
    return module


def frames_of(content):
    """(time in microseconds, frame) of the whole file."""
    at = 24
    while at < len(content):
        seconds, fraction, captured, original = struct.unpack_from('<IIII', content, at)
        assert captured == original
        yield seconds * 1_000_000 + fraction, content[at + 16:at + 16 + captured]
        at += 16 + captured


class MixedCapture(unittest.TestCase):
    def test_rounds_are_later_and_of_other_connections(self):
        made = load()
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder) / 'mixed.pcap'
            said = subprocess.run([sys.executable, SCRIPT, file, '4'], capture_output=True, text=True, check=True)
            frames = list(frames_of(file.read_bytes()))
        megabytes, count = re.fullmatch(r'(\d+\.\d) MB, (\d+) frames\n', said.stdout).groups()
        self.assertGreaterEqual(float(megabytes), 4.0)
        self.assertEqual(len(frames), int(count))
        self.assertEqual(len(frames) % 2, 0, '4 MB are two rounds of the bundled captures')
        half = len(frames) // 2
        self.assertGreater(half, 10000)
        self.assertGreater(min(time for time, _ in frames[half:]), max(time for time, _ in frames[:half]))

        def clients(part):
            return {frame[26:34] + frame[at:at + 4] for _, frame in part
                    for at in made.port_offsets(frame)[:1] if frame[12:14] == b'\x08\x00'}
        first, second = clients(frames[:half]), clients(frames[half:])
        self.assertGreater(len(first), 1000)
        self.assertLess(len(first & second), len(first) // 20)

    def test_refuses_a_line_without_a_file(self):
        ended = subprocess.run([sys.executable, SCRIPT], capture_output=True, text=True, check=False)
        self.assertEqual(ended.returncode, 1)
        self.assertIn('mixed_capture.py FILE', ended.stderr)


if __name__ == '__main__':
    unittest.main()

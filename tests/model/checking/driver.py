"""The built library's side: one run of the driver over a script."""
import os
import subprocess
import tempfile
from pathlib import Path

from judge.machine import Facts

from .lines import answer_of, lines_of

ROOT = Path(__file__).resolve().parents[3]
ATTEMPTS = 3


class Broken(Exception):
    """The driver did not play the script to its end."""


class Driver:
    def __init__(self, program, library, limit=600):
        self.program, self.library, self.limit = Path(program), Path(library), limit

    def run(self, lines):
        """The answers' lines, and how the run ended. Wine at times starts nothing: that is tried again, and a program
        that has told about its process is never run twice."""
        for _ in range(ATTEMPTS):
            said, trouble = self.run_once(lines)
            if said:
                return said, trouble
        raise Broken(f'{self.program} did not start: {trouble}')

    def run_once(self, lines):
        with tempfile.TemporaryDirectory() as folder:
            script, answers = Path(folder) / 'script', Path(folder) / 'answers'
            script.write_text('\n'.join(lines) + '\n', encoding='ascii')
            environment = dict(os.environ, TZ='UTC')
            ended = subprocess.run([ROOT / 'cmake' / 'wine-run', self.program, self.library, script, answers],
                                   env=environment, stdin=subprocess.DEVNULL, capture_output=True, check=False,
                                   timeout=self.limit)
            said = answers.read_text(encoding='ascii').splitlines() if answers.exists() else []
        trouble = ended.stderr.decode(errors='replace').strip() + f' (exit status {ended.returncode})'
        return said, trouble

    def facts(self):
        return Facts(self.run([])[0][0])

    def play(self, steps):
        """(facts, an answer for every call that was made, whether all were, what was said about the end)."""
        lines = []
        for number, step in enumerate(steps):
            lines += lines_of(step, number)
        said, trouble = self.run(lines)
        is_whole = said[-1] == f'played {len(lines)}'
        calls = [step for step in steps if 'call' in step]
        told = said[1:-1] if is_whole else said[1:]
        answers = [answer_of(step, line) for step, line in zip(calls, told)]
        return Facts(said[0]), answers, is_whole and len(answers) == len(calls), trouble

"""replay-corpus with its engines as they are: GNU parallel over ssh, and Slurm with two nodes of which one dies."""
import json
import os
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from slurm_machines import SlurmMachines, processes_with, wait_until
from ssh_machine import SshMachine

ROOT = Path(__file__).resolve().parents[2]
TOOL = ROOT / 'tools' / 'replay-corpus'
CAPTURES = ROOT / 'tests' / 'captures'
TARNHOST = f'{ROOT}/cmake/wine-run {ROOT}/build/windows/bin/tarnhost.exe'
COPIED = ('http_wget_and_others.pcap', 'tls_curl.pcap', 'dns_basic.pcap')
BEFORE_THE_GATE = 3  # results that stand when a machine is lost


def verdicts_of(file):
    """Its events without what differs from run to run, capture by capture."""
    events = [json.loads(line) for line in file.read_text(encoding='utf-8').splitlines()]
    for event in events:
        for name in ('written', 'latency_ns'):
            event.pop(name, None)
    return events


class ReplayCorpus(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix='corpus-')
        cls.addClassCleanup(folder.cleanup)
        cls.place = Path(folder.name)
        cls.corpus = cls.place / 'some captures'
        for number in range(4):
            (cls.corpus / f'day {number}').mkdir(parents=True)
            for name in COPIED:
                shutil.copy(CAPTURES / name, cls.corpus / f'day {number}')
        (cls.corpus / 'cut.pcap').write_bytes((CAPTURES / COPIED[0]).read_bytes()[:-7])
        cls.count = 4 * len(COPIED) + 1
        ran = cls.run_tool(cls.place / 'single', '--jobs', '1')
        assert ran.returncode == 0, ran.stderr
        cls.single = verdicts_of(cls.place / 'single' / 'events.jsonl')

    @classmethod
    def command(cls, output, *options, tarnhost=TARNHOST):
        return [TOOL, '--tarnhost', tarnhost, '-o', output, *options, cls.corpus]

    @classmethod
    def run_tool(cls, output, *options, **settings):
        return subprocess.run(cls.command(output, *options, **settings), capture_output=True, text=True, check=False,
                              timeout=300)

    def gated(self, output):
        """A tarnhost that waits behind the first results until the test has opened the gate."""
        gate = self.place / f'{output.name}.gate'
        program = self.place / f'{output.name}.sh'
        program.write_text(f'''#!/bin/bash
while [ "$(ls '{output}/results' | grep -c 'jsonl$')" -ge {BEFORE_THE_GATE} ] && [ ! -e '{gate}' ]; do sleep 0.1; done
exec {TARNHOST} "$@"
''', encoding='utf-8')
        program.chmod(0o755)
        return gate, f"'{program}'"

    @staticmethod
    def results(output):
        return list((output / 'results').glob('*.jsonl')) if (output / 'results').exists() else []

    def assert_as_the_single_run(self, output):
        self.assertEqual(len(self.results(output)), self.count)
        self.assertEqual(list((output / 'results').glob('*.part')), [])
        self.assertEqual(verdicts_of(output / 'events.jsonl'), self.single)

    def test_the_single_run_has_every_capture_and_says_what_is_damaged(self):
        names = [event['capture'] for event in self.single if event['type'] == 'verdict']
        self.assertEqual(set(names), {'cut.pcap', *(f'day {day}/{name}' for day in range(4) for name in COPIED)})
        self.assertEqual(sum(event['type'] == 'stats' for event in self.single), self.count)
        self.assertEqual(sum(event['type'] == 'error' for event in self.single), 1)

    def test_a_run_that_was_stopped_goes_on(self):
        output = self.place / 'stopped'
        gate, tarnhost = self.gated(output)
        with subprocess.Popen(self.command(output, '--jobs', '1', tarnhost=tarnhost), stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, start_new_session=True) as tool:
            wait_until('the first results', lambda: len(self.results(output)) >= BEFORE_THE_GATE)
            again = self.run_tool(output, tarnhost=tarnhost)
            self.assertEqual(again.returncode, 2)
            self.assertIn('another run works in this folder', again.stderr)
            os.killpg(tool.pid, signal.SIGKILL)
        before = {path: path.stat().st_mtime_ns for path in self.results(output)}
        self.assertEqual(len(before), BEFORE_THE_GATE)
        gate.touch()
        ran = self.run_tool(output, tarnhost=tarnhost)
        self.assertEqual(ran.returncode, 0, ran.stderr)
        self.assertIn(f'{self.count} of {self.count} captures judged', ran.stdout)
        self.assert_as_the_single_run(output)
        self.assertEqual({path: path.stat().st_mtime_ns for path in before}, before)  # not judged a second time

    def test_parallel_over_ssh_with_a_job_that_is_lost(self):
        output = self.place / 'parallel'
        gate, tarnhost = self.gated(output)
        with SshMachine(self.place / 'ssh') as machine:
            command = self.command(output, '--engine', 'parallel', '--sshloginfile', machine.logins('one', 'two'),
                                   tarnhost=tarnhost)
            with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as tool:
                wait_until('the first results', lambda: len(self.results(output)) >= BEFORE_THE_GATE)
                workers = [int(found) for found in subprocess.run(
                    ['pgrep', '-f', f'replay-corpus --worker {output} '], capture_output=True, text=True,
                    check=False).stdout.split()]
                self.assertTrue(workers)
                for worker in workers:
                    try:
                        os.kill(worker, signal.SIGKILL)
                    except ProcessLookupError:
                        pass
                gate.touch()
                said, errors = tool.communicate(timeout=300)
            self.assertEqual(tool.returncode, 0, errors)
        self.assertIn(f'{self.count} of {self.count} captures judged', said)
        hosts = {line.split('\t')[1] for line in (output / 'parallel.log').read_text(encoding='utf-8').splitlines()[1:]}
        self.assertEqual(len(hosts), 2, hosts)
        self.assert_as_the_single_run(output)

    def test_slurm_with_a_node_that_dies(self):
        output = self.place / 'slurm'
        gate, tarnhost = self.gated(output)
        with SlurmMachines(self.place / 'machines') as machines:
            with subprocess.Popen(self.command(output, '--engine', 'slurm', tarnhost=tarnhost),
                                  env=machines.environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                  text=True) as tool:
                wait_until('the first results', lambda: len(self.results(output)) >= BEFORE_THE_GATE)
                wait_until('both nodes work', lambda: all(processes_with(f'SLURMD_NODENAME={node}')
                                                          for node in ('one', 'two')))
                self.assertGreater(machines.end_node('one'), 0)
                gate.touch()
                said, errors = tool.communicate(timeout=300)
            self.assertEqual(tool.returncode, 0, errors)
            self.assertNotEqual(machines.states(), ['idle', 'idle'])
        self.assertIn(f'{self.count} of {self.count} captures judged', said)
        self.assert_as_the_single_run(output)

    def small(self, name):
        """A corpus of one capture, and a policy with a list."""
        place = self.place / name
        (place / 'corpus').mkdir(parents=True)
        shutil.copy(CAPTURES / COPIED[0], place / 'corpus' / 'one.pcap')
        (place / 'mine.toml').write_text('include = ["*.list"]\n[features]\nbrowsing_protection = true\n',
                                         encoding='utf-8')
        (place / 'bad.list').write_text('bad.example\n', encoding='utf-8')
        return place

    def run_small(self, place, tarnhost=TARNHOST):
        return subprocess.run([TOOL, '--tarnhost', tarnhost, '-o', place / 'out', '--policy', place / 'mine.toml',
                               place / 'corpus'], capture_output=True, text=True, check=False, timeout=300)

    def test_results_by_another_policy_list_or_program_are_never_mixed(self):
        place = self.small('mixed')
        program = place / 'my tarnhost.sh'
        program.write_text(f'#!/bin/sh\nexec {TARNHOST} "$@"\n', encoding='utf-8')
        program.chmod(0o755)
        tarnhost = shlex.quote(str(program))
        self.assertEqual(self.run_small(place, tarnhost).returncode, 0)
        events = (place / 'out' / 'events.jsonl').read_bytes()
        shutil.copy(CAPTURES / COPIED[1], place / 'corpus' / 'two.pcap')
        for file in (place / 'mine.toml', place / 'bad.list', place / 'new.list', program):
            before = file.read_bytes() if file.exists() else None
            file.write_bytes((before or b'') + b'# another line\n')
            ran = self.run_small(place, tarnhost)
            self.assertEqual(ran.returncode, 2, file)
            self.assertIn(f'by another {file}; name another output folder', ran.stderr)
            self.assertEqual((place / 'out' / 'events.jsonl').read_bytes(), events)
            if before is None:
                file.unlink()
            else:
                file.write_bytes(before)
        ran = self.run_small(place, tarnhost)  # the same content again, if of another time
        self.assertEqual(ran.returncode, 0, ran.stderr)
        self.assertIn('2 of 2 captures judged', ran.stdout)

    def test_a_policy_that_changes_meanwhile_gives_no_result(self):
        place = self.small('meanwhile')
        tarnhost = shlex.join(['sh', '-c', f'echo "# more" >>"{place}/bad.list"; exec {TARNHOST} "$@"', 'sh'])
        ran = self.run_small(place, tarnhost)
        self.assertEqual(ran.returncode, 1)
        self.assertIn(f'one.pcap: no result: {place}/bad.list was changed while the run went on', ran.stderr)

    def test_a_capture_that_was_replaced_is_judged_again(self):
        place = self.small('replaced')
        self.assertEqual(self.run_small(place).returncode, 0)
        shutil.copy(CAPTURES / COPIED[2], place / 'corpus' / 'one.pcap')
        self.assertEqual(self.run_small(place).returncode, 0)
        frames = [event['frames'] for event in verdicts_of(place / 'out' / 'events.jsonl') if event['type'] == 'stats']
        (place / 'single').mkdir()
        shutil.copytree(place / 'corpus', place / 'single' / 'corpus')
        for name in ('mine.toml', 'bad.list'):
            shutil.copy(place / name, place / 'single')
        self.assertEqual(self.run_small(place / 'single').returncode, 0)
        self.assertEqual(frames, [event['frames'] for event in verdicts_of(place / 'single' / 'out' / 'events.jsonl')
                                  if event['type'] == 'stats'])
        self.assertEqual(len(frames), 1)

    def test_a_tree_with_a_blank_in_its_path_is_started(self):
        tree = self.place / 'a tree'
        shutil.copytree(ROOT / 'tools', tree / 'tools', ignore=shutil.ignore_patterns('__pycache__'))
        (tree / 'build' / 'windows' / 'bin').mkdir(parents=True)
        (tree / 'build' / 'windows' / 'bin' / 'tarnhost.exe').touch()
        (tree / 'dev').write_text(f'#!/bin/sh\nshift\nexec {TARNHOST} "$@"\n', encoding='utf-8')
        (tree / 'dev').chmod(0o755)
        place = self.small('blank')
        ran = subprocess.run([tree / 'tools' / 'replay-corpus', '-o', place / 'out', place / 'corpus'],
                             capture_output=True, text=True, check=False, timeout=300)
        self.assertEqual(ran.returncode, 0, ran.stderr)

    def test_what_has_no_result_is_named(self):
        output = self.place / 'failing'
        ran = self.run_tool(output, tarnhost="sh -c 'echo no library >&2; exit 1'")
        self.assertEqual(ran.returncode, 1)
        self.assertIn('cut.pcap: no result: exit code 1\nno library\n', ran.stderr)
        self.assertIn(f'0 of {self.count} captures judged', ran.stdout)
        other = self.run_tool(output)
        self.assertEqual(other.returncode, 2)
        self.assertIn('name another output folder', other.stderr)


if __name__ == '__main__':
    sys.exit(unittest.main())

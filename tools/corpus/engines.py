"""Who hands the captures out: threads of this machine, GNU parallel, or a Slurm array.

An engine gets the numbers that are left and returns when no job of its own runs any more. What has no result then is
the caller's to try again.
"""
import os
import re
import shlex
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from corpus.folder import Mistake
from corpus.judge import judge

TOOL = Path(__file__).resolve().parent.parent / 'replay-corpus'
MOST_TASKS = 1000  # of one array: Slurm's own default ends at 1,001


def worker(run, *numbers):
    """The command that judges captures wherever it is run."""
    return [sys.executable, str(TOOL), '--worker', str(run.folder), *map(str, numbers)]


def local(run, numbers, options, show):
    with ThreadPoolExecutor(options.jobs or os.cpu_count() or 1) as pool:
        for _ in pool.map(lambda number: judge(run, number), numbers):
            show()


def wait(process, show):
    """Until it ends; the output folder is looked at meanwhile."""
    while True:
        try:
            return process.wait(timeout=0.5)
        except subprocess.TimeoutExpired:
            show()


def parallel(run, numbers, options, show):
    command = ['parallel', '--will-cite', '--retries', '2', '--joblog', str(run.folder / 'parallel.log')]
    if options.jobs:
        command += ['--jobs', str(options.jobs)]
    if options.sshloginfile:
        command += ['--sshloginfile', options.sshloginfile]
    command.append(f'{shlex.join(worker(run))} {{}}')
    text = ''.join(f'{number}\n' for number in numbers)
    with open(run.folder / 'parallel.err', 'w', encoding='utf-8') as errors:
        try:
            process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=errors, stderr=errors, text=True)
        except FileNotFoundError:
            raise Mistake('there is no GNU parallel on this machine: install the package parallel') from None
        with process:
            process.stdin.write(text)
            process.stdin.close()
            wait(process, show)


def slurm(run, numbers, options, show):
    # Of more captures than an array may have tasks, each task takes several.
    tasks = min(len(numbers), MOST_TASKS)
    (run.folder / 'tasks.txt').write_text(
        ''.join(' '.join(map(str, numbers[task::tasks])) + '\n' for task in range(tasks)), encoding='utf-8')
    logs = run.folder / 'slurm'
    logs.mkdir(exist_ok=True)
    script = f'#!/bin/sh\nexec {shlex.join(worker(run))} --task "$SLURM_ARRAY_TASK_ID"\n'
    limit = f'%{options.jobs}' if options.jobs else ''
    command = ['sbatch', '--parsable', '--requeue', f'--array=0-{tasks - 1}{limit}', '--job-name=replay-corpus',
               f'--output={logs}/%a.txt', '--open-mode=append', f'--chdir={run.folder}']
    try:
        sent = subprocess.run(command, input=script, capture_output=True, text=True, check=False)
    except FileNotFoundError:
        raise Mistake('there is no Slurm on this machine: install the package slurm-client') from None
    job = sent.stdout.strip().split(';')[0]
    if sent.returncode != 0 or not re.fullmatch(r'\d+', job):
        raise Mistake(f'Slurm took no job: {sent.stderr.strip()}')
    failures = 0
    while True:
        shown = subprocess.run(['squeue', '--noheader', '--jobs', job], capture_output=True, text=True, check=False)
        # A controller that is away for a moment says nothing about the job; one that forgot the job has ended it.
        gone = 'Invalid job id' in shown.stderr
        failures = 0 if shown.returncode == 0 or gone else failures + 1
        if gone or (shown.returncode == 0 and not shown.stdout.strip()):
            return
        if failures > 60:
            raise Mistake(f'Slurm does not answer any more: {shown.stderr.strip()}; run the same command again later')
        show()
        time.sleep(1)


ENGINES = {'local': local, 'parallel': parallel, 'slurm': slurm}

"""Where the threads of a program that hangs under Wine stand, as Wine's debugger tells it."""
import os
import re
import subprocess
import tempfile
import time
from pathlib import Path

LIMIT = 90  # seconds for everything; a debugger that is ended while it holds a program ends that program, too


def run(emulator, arguments, end):
    """What the debugger says, until the end of the time."""
    environment = {name: value for name, value in os.environ.items() if name != 'TARN_WINE_LOG'}
    try:
        shown = subprocess.run([emulator, 'winedbg', *arguments], env=environment, stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=max(0.0, end - time.monotonic()),
                               check=False)
    except subprocess.TimeoutExpired as error:
        return (error.stdout or b'').decode(errors='replace') + '\nThe debugger did not end in time.\n'
    return shown.stdout.decode(errors='replace')


def threads_of(listing, program):
    """Process to its threads, by number in hexadecimal, from what "info thread" prints."""
    processes, current = {}, None
    for line in listing.splitlines():
        if process := re.match(r'[= ]*([0-9a-f]{8})\s+(\S.*?)\s*$', line):
            current = processes.setdefault(process[1], []) if process[2] == program else None
        elif current is not None and (thread := re.match(r'=?\t[= ]*([0-9a-f]{8})\b', line)):
            current.append(thread[1])
    return {process: threads for process, threads in processes.items() if threads}


def of_program(emulator, program):
    """Text for people: the stacks of every process of that name."""
    name = Path(program).name
    end = time.monotonic() + LIMIT
    try:
        listing = run(emulator, ['--command', 'info thread'], end)
        texts = [stacks(emulator, process, threads, end) for process, threads in threads_of(listing, name).items()]
    except OSError as error:
        return f'The stacks of {name} are not to be had: {error}\n'
    return ''.join(texts) or f'There is no process of {name} in what Wine tells:\n{listing}\n'


def stacks(emulator, process, threads, end):
    lines = [f'attach 0x{process}', *(f'bt 0x{thread}' for thread in threads), 'detach', 'quit', '']
    with tempfile.NamedTemporaryFile('w', suffix='.txt') as script:
        script.write('\n'.join(lines))
        script.flush()
        windows_path = 'Z:' + script.name.replace('/', '\\')
        return f'Process {process}, threads {", ".join(threads)}:\n{run(emulator, ["--file", windows_path], end)}\n'

"""Where the threads of a program that hangs under Wine stand, as Wine's debugger tells it."""
import os
import re
import subprocess
import tempfile
from pathlib import Path

LIMIT = 120  # seconds; a debugger that is ended while it holds a program ends that program, too


def run(emulator, arguments):
    environment = {name: value for name, value in os.environ.items() if name != 'TARN_WINE_LOG'}
    shown = subprocess.run([emulator, 'winedbg', *arguments], env=environment, stdin=subprocess.DEVNULL,
                           capture_output=True, text=True, errors='replace', timeout=LIMIT, check=False)
    return shown.stdout + shown.stderr


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
    """Text for people; why there is none, when there is none."""
    name = Path(program).name
    try:
        processes = threads_of(run(emulator, ['--command', 'info thread']), name)
        texts = [stacks(emulator, process, threads) for process, threads in processes.items()]
    except (OSError, subprocess.TimeoutExpired) as error:
        return f'The stacks of {name} are not to be had: {error}\n'
    return '\n'.join(texts) or f'Wine knows no process of {name}.\n'


def stacks(emulator, process, threads):
    lines = [f'attach 0x{process}', *(f'bt 0x{thread}' for thread in threads), 'detach', 'quit', '']
    with tempfile.NamedTemporaryFile('w', suffix='.txt') as script:
        script.write('\n'.join(lines))
        script.flush()
        windows_path = 'Z:' + script.name.replace('/', '\\')
        return f'Process {process}, threads {", ".join(threads)}:\n{run(emulator, ["--file", windows_path])}'

"""Programs without their debug symbols, the symbols apart, and the import library of the other toolchain."""
import subprocess

OBJCOPY = 'x86_64-w64-mingw32-objcopy'
LIBRARY_TOOL = 'llvm-dlltool-14'


def run(*command):
    ended = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False)
    if ended.returncode != 0:
        raise RuntimeError(f"{' '.join(str(word) for word in command)}\n{ended.stdout}{ended.stderr}")


def programs(folder):
    return sorted(path for path in folder.iterdir() if path.suffix.lower() in ('.dll', '.exe'))


def split_symbols(folder, symbols):
    """Moves the symbols of every program of a folder into NAME.debug of another one, which the program then names."""
    symbols.mkdir(parents=True)
    for program in programs(folder):
        debug = symbols / f'{program.name}.debug'
        # Preserved dates are those inside the files; without, each run writes the hour.
        run(OBJCOPY, '--preserve-dates', '--only-keep-debug', program, debug)
        run(OBJCOPY, '--preserve-dates', '--strip-all', program)
        run(OBJCOPY, '--preserve-dates', f'--add-gnu-debuglink={debug}', program)


def write_import_library(definition, dll, library):
    """With the short entries that the Microsoft tools write themselves; GNU's dlltool writes another form."""
    run(LIBRARY_TOOL, '-m', 'i386:x86-64', '-d', definition, '-D', dll, '-l', library)

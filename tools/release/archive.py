"""Archives and lists of sums that depend on nothing but the names and bytes of the files."""
import hashlib
import zipfile
from datetime import datetime, timezone
from pathlib import Path

RUNNABLE = ('.exe', '.dll', '.cmd')


def files_of(folder):
    """Every file below a folder as (name with slashes, path), by name."""
    found = ((path.relative_to(folder).as_posix(), path) for path in Path(folder).rglob('*') if path.is_file())
    return sorted(found)


def sum_of(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def write_sums(folder, file):
    """In the form that sha256sum --check reads; the list does not name itself."""
    lines = [f'{sum_of(path)}  {name}\n' for name, path in files_of(folder)
             if path != file]
    file.write_text(''.join(lines), encoding='utf-8')


def write_zip(folder, file, top, seconds):
    """Everything below the folder, under the folder top of the archive, each entry with the same time."""
    date = datetime.fromtimestamp(max(seconds, 315532800), timezone.utc).timetuple()[:6]  # a zip starts with 1980
    with zipfile.ZipFile(file, 'w', zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for name, path in files_of(folder):
            entry = zipfile.ZipInfo(f'{top}/{name}', date)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 3  # the modes below count
            entry.external_attr = (0o100755 if path.suffix.lower() in RUNNABLE else 0o100644) << 16
            archive.writestr(entry, path.read_bytes())


def differences(one, other):
    """The entries that two zips do not share, byte for byte; none for files that are no zips."""
    if not zipfile.is_zipfile(one) or not zipfile.is_zipfile(other):
        return []
    with zipfile.ZipFile(one) as first, zipfile.ZipFile(other) as second:
        contents = [{name: file.read(name) for name in file.namelist()} for file in (first, second)]
    return sorted(name for name in {*contents[0], *contents[1]} if contents[0].get(name) != contents[1].get(name))


def files_that_name(folder, text):
    """The files below the folder in which the text stands, as bytes or in units of 16 bits."""
    forms = (text.encode(), text.encode('utf-16-le'))
    return [name for name, path in files_of(folder) if any(form in path.read_bytes() for form in forms)]

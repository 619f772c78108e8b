"""The package that the tests look at: made once in a run, its archive unpacked outside the project."""
import atexit
import functools
import shutil
import tempfile
import zipfile
from pathlib import Path

import package
from release import origin

ROOT = package.ROOT
VERSION = origin.version(ROOT)
NAME = f'tarn-{VERSION}-win64'


@functools.cache
def folder():
    """build/package, fresh."""
    package.make()
    return package.OUTPUT


@functools.cache
def unpacked(ending=''):
    """The folder that an archive unpacks to, as a user has it: somewhere else, with a blank in its path."""
    place = Path(tempfile.mkdtemp(prefix='unpacked '))
    atexit.register(shutil.rmtree, place)
    with zipfile.ZipFile(folder() / f'{NAME}{ending}.zip') as archive:
        archive.extractall(place)
    return place / f'{NAME}{ending}'

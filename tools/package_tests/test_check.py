"""package.py --check where there is nothing that it could check."""
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import package
from release import origin


class OutsideAClone(unittest.TestCase):
    def test_is_said_before_anything_is_built(self):
        with tempfile.TemporaryDirectory() as folder, mock.patch.object(package, 'ROOT', Path(folder)), \
                mock.patch.object(package.build, 'build') as build:
            with self.assertRaisesRegex(SystemExit, 'no clone'):
                package.main(['--check'])
            build.assert_not_called()

    def test_a_folder_inside_a_clone_is_none(self):
        self.assertTrue(origin.is_clone(package.ROOT))
        self.assertFalse(origin.is_clone(package.ROOT / 'tools'))


if __name__ == '__main__':
    unittest.main()

"""package.py --check where there is nothing that it could check."""
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import package


class OutsideAClone(unittest.TestCase):
    def test_is_said_before_anything_is_built(self):
        with tempfile.TemporaryDirectory() as folder, mock.patch.object(package, 'ROOT', Path(folder)), \
                mock.patch.object(package.build, 'build') as build:
            with self.assertRaisesRegex(SystemExit, 'no clone'):
                package.main(['--check'])
            build.assert_not_called()


if __name__ == '__main__':
    unittest.main()

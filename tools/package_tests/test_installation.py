"""Installing, upgrading, repairing and removing, by the installer and by the script, each in a Windows of its own."""
import shutil
import tempfile
import unittest
from pathlib import Path

import made
from wine_prefix import WinePrefix, windows_path
from release import archive, installer, origin

FOLDER = r'C:\Program Files\tarn'
STATE = r'C:\ProgramData\tarn'
NEWER = '99.0.0'
REFUSED = 1603 & 0xFF  # an exit status has eight bits here


class Installation(unittest.TestCase):
    def setUp(self):
        self.windows = self.enterContext(WinePrefix())
        self.folder = self.windows.path(FOLDER)
        self.policy = self.folder / 'bin' / 'tarn-policy.toml'

    def files(self):
        return {name: archive.sum_of(path) for name, path in archive.files_of(self.folder)}

    def packaged(self):
        return {name: archive.sum_of(path) for name, path in archive.files_of(made.unpacked())}

    def expect_installed(self, *changed):
        there, wanted = self.files(), self.packaged()
        for name in changed:
            del there[name], wanted[name]
        self.assertEqual(there, wanted)
        self.assertEqual(self.windows.registered_folder(), FOLDER + '\\bin\\')
        self.assertTrue(self.windows.path(STATE).is_dir())

    def expect_removed(self):
        self.assertFalse(self.folder.exists(), list(self.folder.rglob('*')) if self.folder.exists() else '')
        self.assertIsNone(self.windows.registered_folder())

    def expect_it_judges(self):
        """The host of the installed folder, with what the registry says."""
        status, said = self.windows.run(FOLDER + r'\bin\tarnhost.exe', 'url', 'http://lantern.example/redirect')
        self.assertEqual(status, 0, said)
        self.assertIn('BLOCKED', said)
        for name, _ in archive.files_of(self.folder):
            if name not in self.packaged():
                (self.folder / name).unlink()  # what a host writes is no part of the installation

    def edit_policy(self):
        self.policy.write_text(self.policy.read_text(encoding='utf-8') + '\n# my own line\n', encoding='utf-8')

    def expect_edited_policy(self):
        self.assertIn('# my own line', self.policy.read_text(encoding='utf-8'))

    def leave_state(self):
        (self.windows.path(STATE) / 'kept').write_text('state', encoding='utf-8')

    def expect_state(self):
        self.assertEqual((self.windows.path(STATE) / 'kept').read_text(encoding='utf-8'), 'state')


class ByInstaller(Installation):
    def setUp(self):
        super().setUp()
        self.installer = made.folder() / f'{made.NAME}.msi'

    def msiexec(self, *arguments, expected=0):
        status, said = self.windows.run('msiexec', *arguments, '/qn')
        self.assertEqual(status, expected, said)

    def install(self, file, expected=0):
        self.msiexec('/i', windows_path(file), expected=expected)

    def newer(self):
        """The installer of a later version, in which one document and one program differ."""
        place = Path(tempfile.mkdtemp(dir=self.windows.folder))
        folder = shutil.copytree(made.unpacked(), place / 'newer')
        for name in ('README.md', 'bin/tarn-policy.toml', 'bin/agentst.dll'):
            with open(folder / name, 'ab') as file:
                file.write(b'# newer\n')
        installer.write(folder, NEWER, origin.seconds(made.ROOT), place / 'newer.msi')
        return folder, place / 'newer.msi'

    def test_installs_and_removes(self):
        self.install(self.installer)
        self.expect_installed()
        self.expect_it_judges()
        self.leave_state()
        self.msiexec('/x', windows_path(self.installer))
        self.expect_removed()
        self.expect_state()

    def test_leaves_nothing_when_nothing_was_kept(self):
        self.install(self.installer)
        self.expect_installed()
        self.msiexec('/x', windows_path(self.installer))
        self.expect_removed()
        self.assertFalse(self.windows.path(STATE).exists())

    def test_repairs(self):
        self.install(self.installer)
        self.edit_policy()
        (self.folder / 'bin' / 'tarn.dll').unlink()
        (self.folder / 'lib' / 'tarn.lib').unlink()
        self.msiexec('/i', windows_path(self.installer), 'REINSTALL=ALL', 'REINSTALLMODE=omus')
        self.expect_installed('bin/tarn-policy.toml')
        self.expect_edited_policy()
        self.expect_it_judges()

    def test_upgrades_and_refuses_to_go_back(self):
        self.install(self.installer)
        self.edit_policy()
        self.leave_state()
        folder, newer = self.newer()
        self.install(newer)
        wanted = {name: archive.sum_of(path) for name, path in archive.files_of(folder)}
        there = self.files()
        self.expect_edited_policy()
        del wanted['bin/tarn-policy.toml'], there['bin/tarn-policy.toml']
        self.assertEqual(there, wanted)
        self.assertEqual(self.windows.registered_folder(), FOLDER + '\\bin\\')
        _, said = self.windows.run('reg', 'query', r'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall')
        self.assertIn(installer.guid('product', NEWER), said)
        self.assertNotIn(installer.guid('product', made.VERSION), said)
        self.install(self.installer, expected=REFUSED)
        self.msiexec('/x', windows_path(newer))
        self.expect_removed()
        self.expect_state()


class ByScript(Installation):
    def script(self, *arguments, place=None, expected=0):
        # Of a line with more than two quotation marks the command processor drops the outer ones, unless it is a call.
        place = place or windows_path(made.unpacked() / 'install.cmd')
        call = ['call'] if '&' in place or any(' ' in argument for argument in arguments) else []
        status, said = self.windows.run('cmd', '/c', *call, place, *arguments)
        self.assertEqual(status, expected, said)
        return said

    def test_installs_and_removes(self):
        self.assertIn(f'tarn {made.VERSION} is installed in "{FOLDER}"', self.script())
        self.expect_installed()
        self.expect_it_judges()
        self.leave_state()
        self.assertIn('is removed', self.script('/remove'))
        self.expect_removed()
        self.expect_state()

    def test_keeps_an_edited_policy_and_brings_back_the_rest(self):
        self.script()
        self.edit_policy()
        (self.folder / 'bin' / 'tarn.dll').unlink()
        self.script()
        self.expect_installed('bin/tarn-policy.toml')
        self.expect_edited_policy()

    def earlier(self):
        """The script of an earlier version, which had a document, a program and a folder more."""
        folder = shutil.copytree(made.unpacked(), self.windows.path(r'C:\earlier'))
        for name in ('docs/gone.md', 'docs/old/inner/only.md', 'README.md'):
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            (folder / name).write_text('earlier\n', encoding='utf-8')
        shutil.copy(folder / 'bin' / 'tarnhost.exe', folder / 'bin' / 'earlier.exe')
        archive.write_sums(folder, folder / 'SHA256SUMS')
        self.script(place=r'C:\earlier\install.cmd')
        return folder

    def test_an_upgrade_takes_away_what_only_the_earlier_version_had(self):
        self.earlier()
        self.assertIn('docs/old/inner/only.md', self.files())
        self.edit_policy()
        (self.folder / 'docs' / 'mine.md').write_text('mine', encoding='utf-8')
        self.script()
        (self.folder / 'docs' / 'mine.md').unlink()
        self.assertFalse((self.folder / 'docs' / 'old').exists())
        self.expect_installed('bin/tarn-policy.toml')
        self.expect_edited_policy()
        self.script('/remove')
        self.expect_removed()

    def test_an_upgrade_keeps_the_policy_even_if_the_new_version_has_none(self):
        self.script()
        self.edit_policy()
        newer = shutil.copytree(made.unpacked(), self.windows.path(r'C:\newer'))
        (newer / 'bin' / 'tarn-policy.toml').unlink()
        (newer / 'LICENSE').unlink()
        archive.write_sums(newer, newer / 'SHA256SUMS')
        self.script(place=r'C:\newer\install.cmd')
        self.assertNotIn('LICENSE', self.files())
        self.expect_edited_policy()

    def test_an_upgrade_that_a_running_program_hinders_copies_nothing(self):
        self.earlier()
        before = self.files()
        with self.windows.running(FOLDER + r'\bin\earlier.exe', 'url', '-') as host:
            host.stdin.write(b'http://lantern.example/redirect\n' * 400)  # more than one buffer of answers
            host.stdin.flush()
            self.assertIn(b'BLOCKED', host.stdout.readline())
            said = self.script(expected=1)
            self.assertIn(rf'"{FOLDER}\bin\earlier.exe" cannot be deleted', said)
            self.assertIn('run this again', said)
            there = self.files()
            self.assertEqual({name: before[name] for name in there}, there)
        self.script()
        self.expect_installed()

    def test_an_upgrade_deletes_nothing_through_a_link(self):
        self.earlier()
        elsewhere = self.link(FOLDER + r'\docs\old', r'C:\elsewhere')
        said = self.script(expected=1)
        self.assertIn(rf'Not done: "{FOLDER}\docs\old" is a link', said)
        self.assertTrue((elsewhere / 'inner' / 'only.md').exists())
        self.assertEqual((self.folder / 'README.md').read_text(encoding='utf-8'), 'earlier\n')

    def test_deletes_nothing_outside_its_folder_whatever_the_list_there_says(self):
        self.earlier()
        with open(self.folder / 'SHA256SUMS', 'a', encoding='utf-8') as sums:
            sums.write(f'{"0" * 64}  docs/../../outside.md\n')
        outside = self.folder.parent / 'outside.md'
        outside.write_text('mine', encoding='utf-8')
        self.script()
        self.assertTrue(outside.exists())
        self.expect_installed()

    def test_leaves_files_of_others_alone(self):
        self.script()
        (self.folder / 'bin' / 'host.exe').write_text('mine', encoding='utf-8')
        self.script('/remove', place=FOLDER + r'\install.cmd')
        self.assertEqual(list(self.files()), ['bin/host.exe'])
        self.assertIsNone(self.windows.registered_folder())

    def test_installs_where_it_is_told(self):
        self.script(r'C:\other place\tarn')
        self.assertEqual(self.windows.registered_folder(), r'C:\other place\tarn\bin' + '\\')
        self.script('/remove')
        self.assertFalse(self.windows.path(r'C:\other place\tarn').exists())
        self.script('/remove', expected=1)

    def test_takes_folders_with_marks_of_the_command_language(self):
        marks = 'a (1) & b'
        unpacked = shutil.copytree(made.unpacked(), self.windows.folder / 'drive_c' / marks / 'unpacked')
        script, target = rf'C:\{marks}\unpacked\install.cmd', rf'C:\{marks}\tarn'
        self.assertIn(f'is installed in "{target}"', self.script(target, place=script))
        self.folder = self.windows.path(target)
        self.assertEqual(self.files(), self.packaged())
        self.assertEqual(self.windows.registered_folder(), target + '\\bin\\')
        self.assertIn(f'is removed from "{target}"', self.script('/remove', place=script))
        self.expect_removed()
        (unpacked / 'bin' / 'tarn.dll').unlink()
        self.assertIn(rf'"C:\{marks}\unpacked\bin\tarn.dll" is missing', self.script(place=script, expected=1))

    def test_a_removal_that_a_running_host_hinders_can_be_tried_again(self):
        self.script()
        with self.windows.running(FOLDER + r'\bin\tarnhost.exe', 'url', '-') as host:
            host.stdin.write(b'http://lantern.example/redirect\n' * 400)  # more than one buffer of answers
            host.stdin.flush()
            self.assertIn(b'BLOCKED', host.stdout.readline())
            said = self.script('/remove', expected=1)
            self.assertIn(rf'"{FOLDER}\bin\tarn.dll" cannot be deleted', said)
            self.assertIn('/remove again', said)
            self.assertIn('SHA256SUMS', self.files())
            self.assertEqual(self.windows.registered_folder(), FOLDER + '\\bin\\')
        self.assertIn('is removed', self.script('/remove'))
        self.expect_removed()

    def test_takes_the_state_folder_from_whoever_made_it(self):
        """By the text: Wine's icacls does nothing."""
        lines = (made.unpacked() / 'install.cmd').read_text(encoding='utf-8').splitlines()
        steps = [line.split('"', 2)[2].split()[0] for line in lines if line.startswith('icacls "%ProgramData%\\tarn"')]
        self.assertEqual(steps, ['/setowner', '/reset', '/inheritance:r'])
        self.assertFalse([line for line in lines if 'S-1-3-4:' in line])  # the rights of the owner, whoever it is

    def link(self, folder, target):
        """A link in the place of a folder, as a junction is; what it leads to has a file of somebody else."""
        place = self.windows.path(folder)
        elsewhere = self.windows.path(target)
        place.parent.mkdir(parents=True, exist_ok=True)
        if place.exists():
            shutil.move(place, elsewhere)
        elsewhere.mkdir(exist_ok=True)
        (elsewhere / 'theirs').write_text('theirs', encoding='utf-8')
        place.symlink_to(elsewhere)
        return elsewhere

    def test_refuses_to_write_through_a_link(self):
        for folder in (STATE, FOLDER, FOLDER + r'\docs', FOLDER + r'\lib\cmake'):
            elsewhere = self.link(folder, r'C:\elsewhere')
            said = self.script(expected=1)
            self.assertIn(f'Not done: "{folder}" is a link', said)
            self.assertIn(f'rmdir "{folder}"', said)
            self.assertEqual([path.name for path in elsewhere.rglob('*')], ['theirs'], folder)
            self.assertIsNone(self.windows.registered_folder())
            self.windows.path(folder).unlink()
            shutil.rmtree(elsewhere)
        shutil.rmtree(self.folder)
        self.script()
        self.expect_installed()

    def test_deletes_nothing_through_a_link(self):
        self.script()
        for folder in (FOLDER, FOLDER + r'\bin', FOLDER + r'\lib\cmake'):
            before = self.files()
            elsewhere = self.link(folder, r'C:\elsewhere')
            moved = sorted(elsewhere.rglob('*'))
            said = self.script('/remove', expected=1)
            self.assertIn(f'Not done: "{folder}" is a link', said)
            self.assertEqual(sorted(elsewhere.rglob('*')), moved)
            self.assertEqual(self.windows.registered_folder(), FOLDER + '\\bin\\')
            self.windows.path(folder).unlink()
            (elsewhere / 'theirs').unlink()
            shutil.move(elsewhere, self.windows.path(folder))
            self.assertEqual(self.files(), before)
        self.assertIn('is removed', self.script('/remove'))
        self.expect_removed()

    def test_a_registration_without_its_last_backslash(self):
        """What the host says of it, and that the removal finds the folder all the same."""
        self.script()
        self.windows.register(FOLDER + r'\bin')
        for command in (('url', 'http://lantern.example/redirect'), ('policy',), ('companions',), ('watch', '--once')):
            status, said = self.windows.run(FOLDER + r'\bin\tarnhost.exe', *command)
            self.assertEqual(status, 1, said)
            self.assertIn(rf'folder, {FOLDER}\bin, has no backslash at its end', said)
            self.assertIn(rf'/v Path /d "{FOLDER}\bin\\" /f', said)
            self.assertNotIn('lacks', said)
        status, said = self.windows.run(FOLDER + r'\bin\tarnhost.exe', 'url', '--install-folder', FOLDER + r'\bin',
                                        'http://lantern.example/redirect')
        self.assertEqual(status, 0, said)
        self.assertIn('is removed', self.script('/remove'))
        self.expect_removed()

    def test_refuses_what_it_does_not_know(self):
        self.assertIn('/remove', self.script('one', 'two', expected=2))
        self.assertFalse(self.folder.exists())


del Installation  # the cases are those of the two ways

if __name__ == '__main__':
    unittest.main()

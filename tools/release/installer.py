"""The installer (MSI) of a folder: every file of it under Program Files\\tarn, bin registered as the install folder.

Removal leaves the state folder, ProgramData\\tarn, for as long as something is in it. A policy that stands there
already is never overwritten, nor lost in an upgrade: the old version goes after the new one has come.
"""
import hashlib
import os
import struct
import subprocess
import uuid
import xml.etree.ElementTree as xml
from pathlib import Path

from release import archive

NAMESPACE = uuid.UUID('2f0d2e0a-8a44-5d0e-bb5c-6a2c5a1f9b02')
SCHEMA = 'http://schemas.microsoft.com/wix/2006/wi'
APP_PATH = r'SOFTWARE\Microsoft\Windows\CurrentVersion\App Paths\CoreScan.exe'
POLICY = 'bin/tarn-policy.toml'
NEVER_OVERWRITE = 128    # of a component's attributes, beside 256, which makes it a 64-bit one
# The old version goes when the new one's files stand, and before the new one is registered: Wine forgets a product's
# family when a member of it is removed.
INSTALL_EXECUTE = 5800
REMOVE_OLD = 5900
# Of the state folder: administrators own it, they and the system write, the users of the machine read. Whoever made it
# before does not keep it. A companion that has to make it sets no owner and gives whoever made it full rights, too.
STATE_RIGHTS = 'O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FRFX;;;BU)'
RIGHTS_TABLE = ('CREATE TABLE `MsiLockPermissionsEx` (`MsiLockPermissionsEx` CHAR(72) NOT NULL, '
                '`LockObject` CHAR(72) NOT NULL, `Table` CHAR(32) NOT NULL, `SDDLText` LONGCHAR NOT NULL, '
                '`Condition` CHAR(255) PRIMARY KEY `MsiLockPermissionsEx`)')
SUMMARY_FORMAT = uuid.UUID('f29f85e0-4ff9-1068-ab91-08002b27b3d9').bytes_le


def guid(*words):
    return str(uuid.uuid5(NAMESPACE, ' '.join(words))).upper()


def short(kind, name):
    return f'{kind}{hashlib.sha256(name.encode()).hexdigest()[:24]}'


def component(parent, name):
    return xml.SubElement(parent, 'Component', Id=short('c', name), Guid=guid('component', name), Win64='yes')


def add_files(feature, root, folder):
    """A component for each file, so that a repair brings back exactly what is missing."""
    folders = {'': root}
    for name, _ in archive.files_of(folder):
        parent = ''
        for part in Path(name).parts[:-1]:
            whole = f'{parent}/{part}'.lstrip('/')
            if whole not in folders:
                folders[whole] = xml.SubElement(folders[parent], 'Directory', Name=part,
                                                Id='BINFOLDER' if whole == 'bin' else short('d', whole))
            parent = whole
        file = component(folders[parent], name)
        xml.SubElement(file, 'File', Id=short('f', name), Name=Path(name).name,
                       Source=f'{folder.name}/{name}', KeyPath='yes')
        xml.SubElement(feature, 'ComponentRef', Id=file.get('Id'))
    return folders['bin']


def add_registration(feature, bin_folder):
    # A folder's text ends with a backslash, as the library wants it.
    entry = component(bin_folder, 'registration')
    xml.SubElement(entry, 'RegistryValue', Root='HKLM', Key=APP_PATH, Name='Path', Type='string', Value='[BINFOLDER]',
                   KeyPath='yes')
    xml.SubElement(feature, 'ComponentRef', Id=entry.get('Id'))


def add_state_folder(feature, target):
    common = xml.SubElement(target, 'Directory', Id='CommonAppDataFolder')
    state = component(xml.SubElement(common, 'Directory', Id='STATEFOLDER', Name='tarn'), 'state')
    xml.SubElement(state, 'CreateFolder')
    xml.SubElement(feature, 'ComponentRef', Id=state.get('Id'))


def description(folder, version):
    """The installer's source text for wixl."""
    wix = xml.Element('Wix', xmlns=SCHEMA)
    product = xml.SubElement(wix, 'Product', Id=guid('product', version), Name='tarn', Language='1033', Version=version,
                             Manufacturer='The tarn authors', UpgradeCode=guid('upgrade'))
    xml.SubElement(product, 'Package', InstallerVersion='500', Compressed='yes', InstallScope='perMachine',
                   Description=f'tarn {version}', Comments='Web-security library, companion modules and tarnhost')
    xml.SubElement(product, 'MajorUpgrade', DowngradeErrorMessage='A newer version of tarn is installed already.')
    xml.SubElement(product, 'Property', Id='ARPNOMODIFY', Value='1')  # there is nothing to choose
    xml.SubElement(product, 'Media', Id='1', Cabinet='tarn.cab', EmbedCab='yes')
    target = xml.SubElement(product, 'Directory', Id='TARGETDIR', Name='SourceDir')
    feature = xml.SubElement(product, 'Feature', Id='Whole', Level='1', Title='tarn')
    programs = xml.SubElement(target, 'Directory', Id='ProgramFiles64Folder')
    bin_folder = add_files(feature, xml.SubElement(programs, 'Directory', Id='INSTALLFOLDER', Name='tarn'), folder)
    add_registration(feature, bin_folder)
    add_state_folder(feature, target)
    return xml.tostring(wix, encoding='utf-8', xml_declaration=True)


def amendments(folder, version):
    """What wixl cannot say. Programs bear their version, so that a newer one replaces an older one."""
    yield f"UPDATE `Component` SET `Attributes` = {256 + NEVER_OVERWRITE} WHERE `Component` = '{short('c', POLICY)}'"
    yield f"INSERT INTO `InstallExecuteSequence` (`Action`, `Sequence`) VALUES ('InstallExecute', {INSTALL_EXECUTE})"
    yield f"UPDATE `InstallExecuteSequence` SET `Sequence` = {REMOVE_OLD} WHERE `Action` = 'RemoveExistingProducts'"
    yield RIGHTS_TABLE
    yield ('INSERT INTO `MsiLockPermissionsEx` (`MsiLockPermissionsEx`, `LockObject`, `Table`, `SDDLText`) '
           f"VALUES ('State', 'STATEFOLDER', 'CreateFolder', '{STATE_RIGHTS}')")
    for name, path in archive.files_of(folder):
        if path.suffix.lower() in ('.dll', '.exe'):
            yield (f"UPDATE `File` SET `Version` = '{version}.0', `Language` = '1033' "
                   f"WHERE `File` = '{short('f', name)}'")


def run(*command):
    ended = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False,
                           env={**os.environ, 'TZ': 'UTC', 'LC_ALL': 'C.UTF-8'})
    if ended.returncode != 0:
        raise RuntimeError(f'{command[0]} ended with {ended.returncode}\n{ended.stdout}{ended.stderr}')


def make_lasting(file, seconds):
    """Puts fixed values in place of the random number and the two times that wixl writes into the summary."""
    content = bytearray(file.read_bytes())
    at = content.find(SUMMARY_FORMAT)
    if at < 0 or content.find(SUMMARY_FORMAT, at + 1) >= 0:
        raise RuntimeError(f'{file} has no summary, or two')
    section = at - 28 + struct.unpack_from('<I', content, at + 16)[0]  # of the set, which begins 28 bytes before
    fields = {}
    for index in range(struct.unpack_from('<I', content, section + 4)[0]):
        number, offset = struct.unpack_from('<II', content, section + 8 + 8 * index)
        fields[number] = section + offset
    time = struct.pack('<Q', (seconds + 11644473600) * 10_000_000)
    for number in (12, 13):  # made, saved
        if struct.unpack_from('<I', content, fields[number])[0] != 64:
            raise RuntimeError(f'{file}: field {number} of the summary is no time')
        content[fields[number] + 4:fields[number] + 12] = time
    kind, size = struct.unpack_from('<II', content, fields[9])
    text = slice(fields[9] + 8, fields[9] + 8 + 38)
    if kind != 30 or size < 38 or content[text.start:text.start + 1] != b'{':
        raise RuntimeError(f'{file}: field 9 of the summary is no package code')
    content[text] = b'{' + b'0' * 36 + b'}'
    code = guid('package', hashlib.sha256(content).hexdigest())
    content[text] = f'{{{code}}}'.encode()
    file.write_bytes(content)


def write(folder, version, seconds, file):
    for _, path in archive.files_of(folder):
        os.utime(path, (seconds, seconds))  # the cabinet keeps the times
    source = folder.with_suffix('.wxs')  # wixl looks for the files from the folder of its source
    source.write_bytes(description(folder, version))
    file.unlink(missing_ok=True)
    run('wixl', '--arch', 'x64', '--output', file, source)
    source.unlink()
    run('msibuild', file, *(word for query in amendments(folder, version) for word in ('-q', query)))
    make_lasting(file, seconds)

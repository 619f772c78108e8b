"""The bill of materials of a package, in the form SPDX 2.3 (JSON)."""
import hashlib
import json
import re
import uuid
from datetime import datetime, timezone

from release.notices import COMPONENTS

NAMESPACE = uuid.UUID('7d1c7b8e-6f0e-5a55-9d0b-0c6f3d1f6a11')


def identifier(text):
    """Of letters, digits, points and hyphens only, and another one for each text."""
    return 'SPDXRef-' + re.sub(r'[^A-Za-z0-9.]', lambda other: f'-{ord(other[0]):x}-', text)


def checksums(content):
    return [{'algorithm': 'SHA1', 'checksumValue': hashlib.sha1(content).hexdigest()},
            {'algorithm': 'SHA256', 'checksumValue': hashlib.sha256(content).hexdigest()}]


def file_entries(folder):
    entries = []
    for path in sorted(path for path in folder.rglob('*') if path.is_file()):
        name = path.relative_to(folder).as_posix()
        entries.append({'SPDXID': identifier(f'File-{name}'), 'fileName': f'./{name}',
                        'checksums': checksums(path.read_bytes()), 'copyrightText': 'NOASSERTION',
                        'licenseConcluded': 'NOASSERTION', 'licenseInfoInFiles': ['NOASSERTION']})
    return entries


def component_entry(component):
    version = component.version()
    return {'SPDXID': identifier(f'Package-{component.package}'), 'name': component.name, 'versionInfo': version,
            'downloadLocation': 'NOASSERTION', 'filesAnalyzed': False, 'licenseConcluded': component.licence,
            'licenseDeclared': component.licence, 'copyrightText': 'NOASSERTION',
            'comment': f'In {component.inside}',
            'externalRefs': [{'referenceCategory': 'PACKAGE-MANAGER', 'referenceType': 'purl',
                              'referenceLocator': f'pkg:deb/debian/{component.package}@{version}'}]}


def verification_code(files):
    """As SPDX defines it: over the sorted SHA-1 sums of the files."""
    sums = sorted(entry['checksums'][0]['checksumValue'] for entry in files)
    return hashlib.sha1(''.join(sums).encode()).hexdigest()


def document(folder, version, commit, seconds, components=COMPONENTS):
    files = file_entries(folder)
    whole = 'SPDXRef-Package-tarn'
    packages = [component_entry(component) for component in components]
    relations = [('SPDXRef-DOCUMENT', 'DESCRIBES', whole)]
    relations += [(whole, 'CONTAINS', entry['SPDXID']) for entry in (*files, *packages)]
    content = {
        'spdxVersion': 'SPDX-2.3', 'dataLicense': 'CC0-1.0', 'SPDXID': 'SPDXRef-DOCUMENT',
        'name': f'tarn-{version}-win64',
        'documentNamespace': f"urn:uuid:{uuid.uuid5(NAMESPACE, f'{version} {commit} {verification_code(files)}')}",
        'creationInfo': {'created': datetime.fromtimestamp(seconds, timezone.utc).strftime('%Y-%m-%dT%H:%M:%SZ'),
                         'creators': ['Organization: The tarn authors', 'Tool: dev-package']},
        'packages': [{'SPDXID': whole, 'name': 'tarn', 'versionInfo': version, 'downloadLocation': 'NOASSERTION',
                      'filesAnalyzed': True,
                      'packageVerificationCode': {'packageVerificationCodeValue': verification_code(files)},
                      'licenseConcluded': 'Apache-2.0', 'licenseDeclared': 'Apache-2.0',
                      'licenseInfoFromFiles': ['NOASSERTION'], 'copyrightText': 'Copyright The tarn authors',
                      'sourceInfo': f'commit {commit}'}, *packages],
        'files': files,
        'relationships': [{'spdxElementId': one, 'relationshipType': kind, 'relatedSpdxElement': other}
                          for one, kind, other in relations],
    }
    return json.dumps(content, indent=1) + '\n'

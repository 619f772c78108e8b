"""tarnhost serve with the listeners beside the HTTP proxy, too, and clients that say whatever a test wants."""
import socket
import struct

import serving

POLICY = '''[features]
browsing_protection = true
anti_phishing = true

[[malicious_sites]]
host = "bad.example"
threat = "Trojan.Sample"

[[malicious_sites]]
host = "198.51.100.21"
whole_site = false
threats = [
  { name = "Script.Injector", path = "/evil.bin" },
  { name = "Script.Injector", path = "/pub/hidden.bin" },
]

[parental]
mode = 1

[[parental.users]]
profile = true
block_list = true

[[parental.users.blocked_sites]]
host = "refused.example"
subdomains = true
'''
FTP_ADDRESS = '127.0.0.21'


class WireServing(serving.Serving):
    def __init__(self, folder, *options, dns_upstream=None, socks='127.0.0.1:0', status='off', policy=POLICY,
                 proxy='127.0.0.1:0'):
        dns = ['--dns', '127.0.0.1:0', '--dns-upstream', dns_upstream] if dns_upstream else []
        super().__init__(folder, policy, *dns, *options, proxy=proxy)
        # Parental control refuses names only where this switch says so.
        (self.folder / 'dnsblock.ini').write_text('[WEB_SECURITY]\r\nBLOCK_URL_IN_DNS=1\r\n', encoding='ascii')
        for option, value in (('--socks', socks), ('--status', status)):
            self.command[self.command.index(option) + 1] = value
        at = self.command.index('serve')
        self.command[at:at] = ['--map', f'{FTP_ADDRESS}=198.51.100.21']
        self.command += ['--hosts', f'ftp.example={FTP_ADDRESS}']

    def __enter__(self):
        super().__enter__()
        started = next(event for event in self.events if event['type'] == 'serve')
        self.socks, self.dns, self.status = (started.get(name) for name in ('socks', 'dns', 'status'))
        return self

    @staticmethod
    def connect(listener, timeout=60):
        host, port = listener.rsplit(':', 1)
        return socket.create_connection((host, int(port)), timeout=timeout)

    def through_socks(self, host, port, greeting=True):
        """A connection that is the client's, as far as it knows."""
        client = self.connect(self.socks)
        name = host.encode()
        client.sendall(b'\x05\x01\x00' + b'\x05\x01\x00\x03' + bytes([len(name)]) + name + struct.pack('>H', port))
        reply = receive(client, 12)
        if greeting and reply[:4] != b'\x05\x00\x05\x00':
            raise ConnectionError(reply)
        return client


def receive(client, count):
    said = b''
    while len(said) < count and (piece := client.recv(count - len(said))):
        said += piece
    return said


def receive_all(client):
    """Up to the end; a reset is an end, too."""
    said = b''
    try:
        while piece := client.recv(65536):
            said += piece
    except ConnectionResetError:
        pass
    return said


def hello(name):
    """A TLS 1.2 ClientHello, as short as one can be."""
    host = name.encode()
    entry = b'\x00' + struct.pack('>H', len(host)) + host
    extension = struct.pack('>HHH', 0, len(entry) + 2, len(entry)) + entry
    body = b'\x03\x03' + bytes(32) + b'\x00' + b'\x00\x02\x13\x01' + b'\x01\x00' + struct.pack('>H', len(extension)) \
        + extension
    handshake = b'\x01' + struct.pack('>I', len(body))[1:] + body
    return b'\x16\x03\x01' + struct.pack('>H', len(handshake)) + handshake

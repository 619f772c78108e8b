"""A login on this machine over a real connection: an ssh server on the loopback with keys of its own."""
import getpass
import os
import socket
import subprocess
from pathlib import Path

from slurm_machines import free_ports, wait_until


class SshMachine:
    def __init__(self, folder):
        self.folder = Path(folder)
        self.server = None

    def __enter__(self):
        self.folder.mkdir(parents=True)
        for key in ('host', 'user'):
            subprocess.run(['ssh-keygen', '-q', '-t', 'ed25519', '-N', '', '-f', self.folder / key], check=True)
        (self.folder / 'user.pub').rename(self.folder / 'authorized')
        port, = free_ports(1)
        (self.folder / 'sshd.conf').write_text(f'''Port {port}
ListenAddress 127.0.0.1
HostKey {self.folder}/host
AuthorizedKeysFile {self.folder}/authorized
PidFile {self.folder}/sshd.pid
PasswordAuthentication no
KbdInteractiveAuthentication no
UsePAM no
StrictModes no
PermitRootLogin yes
''', encoding='utf-8')
        (self.folder / 'ssh.conf').write_text(f'''Host *
HostName 127.0.0.1
Port {port}
User {getpass.getuser()}
IdentityFile {self.folder}/user
IdentitiesOnly yes
StrictHostKeyChecking no
UserKnownHostsFile {self.folder}/known
LogLevel ERROR
''', encoding='utf-8')
        if os.geteuid() == 0:
            Path('/run/sshd').mkdir(mode=0o755, exist_ok=True)
        self.server = subprocess.Popen(['/usr/sbin/sshd', '-D', '-e', '-f', self.folder / 'sshd.conf'],
                                       stdin=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until('the ssh server listens', lambda: self.answers(port), 20)
        return self

    @staticmethod
    def answers(port):
        with socket.socket() as probe:
            return probe.connect_ex(('127.0.0.1', port)) == 0

    def logins(self, *names):
        """A file of logins, as GNU parallel takes them; every name is this machine."""
        file = self.folder / 'logins'
        file.write_text(''.join(f'1/ssh -F {self.folder}/ssh.conf {name}\n' for name in names), encoding='utf-8')
        return file

    def __exit__(self, *_):
        self.server.terminate()
        self.server.wait()

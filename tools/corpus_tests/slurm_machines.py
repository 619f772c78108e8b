"""Two Slurm nodes on this machine, with a controller and everything that they write in a folder of their own."""
import os
import signal
import socket
import subprocess
import time
from pathlib import Path

CONFIGURATION = '''ClusterName=test
SlurmctldHost={host}(127.0.0.1)
SlurmctldPort={ports[0]}
SlurmUser={user}
SlurmdUser={user}
AuthType=auth/none
CredType=cred/none
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/%n
SlurmctldPidFile={folder}/controller.pid
SlurmdPidFile={folder}/%n.pid
SlurmctldLogFile={folder}/controller.log
SlurmdLogFile={folder}/%n.log
ProctrackType=proctrack/pgid
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
SlurmdTimeout=5
KillWait=1
InactiveLimit=0
MpiDefault=none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SchedulerParameters=sched_interval=2,requeue_delay=1
NodeName=one NodeHostname={host} NodeAddr=127.0.0.1 Port={ports[1]} CPUs=1
NodeName=two NodeHostname={host} NodeAddr=127.0.0.1 Port={ports[2]} CPUs=1
PartitionName=all Nodes=one,two Default=YES MaxTime=INFINITE State=UP
'''


def wait_until(what, condition, seconds=60):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise TimeoutError(f'{what}: not within {seconds} s')
        time.sleep(0.05)


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    try:
        for one in sockets:
            one.bind(('127.0.0.1', 0))
        return [one.getsockname()[1] for one in sockets]
    finally:
        for one in sockets:
            one.close()


def processes_with(variable):
    """Those whose environment holds it, with their ids."""
    found = []
    for folder in Path('/proc').iterdir():
        try:
            if folder.name.isdigit() and variable.encode() in (folder / 'environ').read_bytes().split(b'\0'):
                found.append(int(folder.name))
        except OSError:
            pass  # it has ended, or is somebody else's
    return found


def parent_of(process):
    try:
        return int(Path(f'/proc/{process}/stat').read_text(encoding='utf-8').rsplit(')', 1)[1].split()[1])
    except OSError:
        return 0


def name_of(process):
    try:
        return Path(f'/proc/{process}/comm').read_text(encoding='utf-8').strip()
    except OSError:
        return ''


class SlurmMachines:
    def __init__(self, folder):
        self.folder = Path(folder)
        self.environment = {**os.environ, 'SLURM_CONF': str(self.folder / 'slurm.conf')}
        self.daemons = {}

    def __enter__(self):
        (self.folder / 'state').mkdir(parents=True)
        text = CONFIGURATION.format(host=socket.gethostname().split('.')[0], folder=self.folder, ports=free_ports(3),
                                    user='root' if os.geteuid() == 0 else os.environ['USER'])
        (self.folder / 'slurm.conf').write_text(text, encoding='utf-8')
        try:
            self.start('controller', '/usr/sbin/slurmctld', '-D', '-c')
            for node in ('one', 'two'):
                (self.folder / node).mkdir()
                self.start(node, '/usr/sbin/slurmd', '-D', '-N', node)
            wait_until('both nodes are idle', lambda: self.states() == ['idle', 'idle'])
        except BaseException:
            self.__exit__()
            raise
        return self

    def start(self, name, *command):
        with open(self.folder / f'{name}.out', 'wb') as out:
            self.daemons[name] = subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL, stdout=out,
                                                  stderr=out)

    def states(self):
        shown = subprocess.run(['sinfo', '-h', '-N', '-o', '%t'], env=self.environment, capture_output=True, text=True,
                               check=False)
        return shown.stdout.split()

    def end_node(self, node):
        """As when the machine loses its power: the daemon and all that it runs, at once."""
        self.daemons[node].kill()
        self.daemons[node].wait()
        running = processes_with(f'SLURMD_NODENAME={node}')
        steps = {parent for parent in map(parent_of, running) if name_of(parent) == 'slurmstepd'}
        for process in (*steps, *running):
            try:
                os.kill(process, signal.SIGKILL)
            except ProcessLookupError:
                pass
        return len(running)

    def __exit__(self, *_):
        subprocess.run(['scancel', '--full', '--name=replay-corpus'], env=self.environment, capture_output=True,
                       check=False)
        for name in ('one', 'two'):
            if name in self.daemons and self.daemons[name].poll() is None:
                self.end_node(name)
        if 'controller' in self.daemons:
            self.daemons['controller'].kill()
            self.daemons['controller'].wait()

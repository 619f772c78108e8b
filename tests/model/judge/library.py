"""The library as a whole: its life, its settings, and the thirteen exports over the parts."""
from . import settings
from .blocked import BlockedList
from .clock import Clock
from .dns import Ring
from .extension import ExtensionScan
from .loader import Loader
from .machine import Machine
from .modules import Modules
from .packets import Packets, dropped_row
from .parental import ParentalCopy
from .protection import ListedSites, Protection
from .schedule import Worker
from .sessions import Sessions
from .smb import Smb
from .texts import wide_text
from .url_scan import UrlScan
from .urls import published

URL_LISTS = {'user': 'ReadBPUserWhiteList', 'bp': 'ReadBPInternalWhiteList', 'web': 'ReadWSInternalWhiteList'}


class Library:
    def __init__(self, facts):
        self.clock = Clock()
        self.modules = Modules()
        self.machine = Machine(facts, self.clock)
        self.load()

    def load(self):
        """As a process finds the library that it has just loaded."""
        self.modules.loaded.clear()
        self.machine.forget_process()
        self.loader = Loader(self.modules, self.machine)
        self.protection = Protection(self.modules, self.machine)
        self.packets = Packets(self.modules)
        self.sessions = Sessions(self.modules, self.clock)
        self.worker = Worker(self.clock)
        self.blocked = BlockedList()
        self.smb = Smb()
        self.is_ready = False
        self.is_managed = False
        self.server = b''
        self.blocks_in_dns = 0
        self.clear_settings()

    def clear_settings(self):
        self.bp_status = self.ap_status = self.agent_status = 0
        self.bp_prompt = self.ap_prompt = bytes(2)
        self.kept = {'user': settings.UrlList(), 'bp': settings.UrlList(), 'web': settings.UrlList(),
                     'malicious': settings.SiteList(True), 'rules': settings.IdsRules()}
        self.user_white, self.bp_white, self.web_white = [], [], []
        self.malicious = ListedSites(settings.SiteList(True))
        self.phishing = ListedSites(settings.SiteList(False))
        self.packets.forget()
        self.parental = None
        self.ring = Ring(False)

    def first_profile(self):
        return self.parental.first if self.parental else None

    def mode(self):
        return self.parental.mode if self.parental else 0

    # ---- Life ----

    def init(self, mode, cell):
        if cell[0] is None:
            return 0
        if self.is_ready:
            self.deinit(cell)
        else:
            self.worker.stop()
            self.loader.unload_all()
        self.clear_settings()
        self.is_managed, self.server, self.blocks_in_dns = False, b'', 0
        self.worker.flag = 0
        self.blocked.clear()
        self.protection.begin()
        if not self.loader.load_all(cell):
            self.protection.clear()
            return 0
        self.is_managed = self.machine.is_managed()
        if self.is_managed:
            self.modules.note('ReadEPSServerIP 260')
            if self.modules.result('ReadEPSServerIP') != 0:
                units = wide_text(self.modules.answers['serverAddress'].data, 260)
                self.server = units.decode('utf-16-le').encode('utf-8')
        self.load_settings(mode, cell)
        self.start_worker(cell)
        self.smb.clear()
        self.blocks_in_dns = self.machine.ini_number('dnsblock.ini', 'WEB_SECURITY', 'BLOCK_URL_IN_DNS')
        self.is_ready = True
        return 1

    def deinit(self, cell):
        self.blocked.clear()
        self.smb.clear()
        self.worker.stop()
        self.release_settings(cell)
        self.loader.unload_all()
        self.protection.clear()
        self.is_ready = False
        return 1

    def shut_down(self, passed):
        if not self.modules.has('sitecls.dll'):
            return
        self.modules.note('SCSaveCacheFile ' + ' '.join(str(value) for value in passed))
        self.sessions.save_and_clear()
        self.protection.clear()

    def start_worker(self, cell):
        cell[0] = 0
        self.worker.start(self.first_profile())

    # ---- Settings ----

    def load_settings(self, mode, cell):
        self.clear_settings()
        self.ring = Ring(True)
        modules = self.modules
        if mode == 1:
            saved = modules.read('ReadDNSCacheSettings', cell)
            if saved is not None:
                self.ring.restore(saved)
                modules.release('ReleaseDNSCacheSettings', saved)
        if mode == 0 and not self.machine.is_managed():
            modules.pass_on('ResetBPUserWhitelist')
            modules.note('ResetBPUserWhitelist')
        self.read_list('user', cell)
        self.bp_status = modules.read_byte('ReadBPStatus', cell)
        self.packets.enabled = modules.read_byte('ReadIDSIPSStatus', cell)
        self.read_alert(cell)
        self.ap_status = modules.read_byte('ReadAPStatus', cell)
        self.read_malicious(cell)
        self.read_parental(cell)
        self.sessions.rebuild(self.parental, cell)
        self.read_list('bp', cell)
        self.read_list('web', cell)
        self.read_phishing(cell)
        self.bp_prompt = self.read_prompt('ReadBPReportPromptStatus', cell)[1]
        self.ap_prompt = self.read_prompt('ReadAPReportPromptStatus', cell)[1]
        self.read_agent_status()
        self.read_rules(cell)

    def release_settings(self, cell):
        modules = self.modules
        modules.release('ReleaseWSInternalWhiteList', self.kept['web'])
        cell[0] = 0
        modules.write_dns(self.ring)
        self.sessions.save_and_clear()
        modules.release('ReleaseBPSettings', self.kept['malicious'])
        modules.release('ReleaseBPUserWhiteList', self.kept['user'])
        modules.release('ReleaseIDSSettings', self.kept['rules'])
        self.clear_settings()

    def read_list(self, name, cell):
        record = self.modules.read(URL_LISTS[name], cell)
        self.kept[name] = record or settings.UrlList()
        setattr(self, f'{name}_white', published(self.kept[name].entries))
        return record is not None

    def read_malicious(self, cell):
        self.kept['malicious'] = self.modules.read('ReadBPSettings', cell) or settings.SiteList(True)
        self.malicious = ListedSites(self.kept['malicious'])

    def read_phishing(self, cell):
        record = self.modules.read('ReadAPSettings', cell)
        self.phishing = ListedSites(record or settings.SiteList(False))
        if record is not None:
            self.modules.release('ReleaseAPSettings', record)

    def read_prompt(self, function, cell):
        record = self.modules.read(function, cell)
        return record is not None, bytes(2) if record is None else record.data

    def read_alert(self, cell):
        record = self.modules.read('ReadIDSIPSSettings', cell)
        if record is not None:
            self.packets.alert = record.data[2]
            self.modules.release('ReleaseIDSIPSSettings', record)
        return record is not None

    def read_parental(self, cell):
        self.parental = None
        record = self.modules.read('ReadPCSettings', cell)
        if record is None:
            return False
        self.parental = ParentalCopy(record)
        self.modules.release('ReleasePCSettings', record)
        return True

    def read_agent_status(self):
        modules = self.modules
        self.agent_status = 0
        if not self.machine.is_installed or not modules.load('agentst.dll'):
            return
        modules.pass_on('GetYALStatus')
        modules.note('GetYALStatus')
        if modules.result('GetYALStatus') != 0:
            self.agent_status = modules.byte('agentStatus')
        modules.unload('agentst.dll')

    def read_rules(self, cell):
        self.packets.rules = []
        self.kept['rules'] = settings.IdsRules()
        system = self.machine.facts.system
        record = self.modules.read('ReadIDSSettings', cell) if system is not None else None
        if record is None:
            return
        if not record.rules:
            self.kept['rules'] = record
            return
        self.packets.rules = [rule for rule in record.rules if not rule.systems or system in rule.systems]
        self.modules.release('ReleaseIDSSettings', record)

    # ---- Exports ----

    def scan_url(self, request):
        scan = UrlScan(self, request)
        return scan.run(), scan

    def scan_extension(self, request):
        scan = ExtensionScan(self, request)
        return scan.run(), scan

    def feature_status(self):
        status = self.bp_status | self.ap_status
        if self.mode() == 1 and self.parental.first is not None:
            status |= self.parental.first.block_list_switch | self.parental.first.category_switch
        return status

    def scan_packet(self, frame, rule, inbound):
        return self.packets.scan(frame, rule, inbound, self.parental.strictness if self.parental else 0)

    def drop_connection(self, frame):
        row = dropped_row(frame)
        if row is None:
            return 0
        self.modules.note('SetTcpEntry ' + row.hex())
        return int(self.modules.result('SetTcpEntry') != 0)

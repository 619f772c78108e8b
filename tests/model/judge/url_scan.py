"""The URL scan: the checks of a connection's first bytes, in their order."""
import struct

from . import addresses, dns, hello, sites, urls
from .packets import considered
from .protection import is_phishing, threat_of
from .texts import Overflow, Record, fit

URL = urls.URL
VIDEO = b'youtube.com'


class Failed(Exception):
    """The scan has no verdict."""


class Over(Exception):
    """The verdict stands."""


class UrlScan:
    """One scan. The library's state is read and, by DNS messages and actions, changed."""

    def __init__(self, library, request):
        self.library, self.request = library, request
        self.modules = library.modules
        self.verdict = Record(3870)
        self.prompt = Record(2)
        self.action = None

    def run(self):
        self.verdict.put(0, 'II', 1, 26)
        result = 1
        try:
            if struct.unpack('>H', struct.pack('<H', self.request.port))[0] == 53:
                self.judge_dns()
            elif self.request.kind in (1, 2, 3, 4):
                self.judge()
        except Over:
            pass
        except (Failed, Overflow, dns.Unreadable):
            result = 0
        if self.action is not None:
            self.library.protection.act(self.request.process, self.action)
        return result

    # ---- What the steps share ----

    def user(self):
        """(name, identifier of 68 bytes), or None."""
        facts = self.library.machine.facts
        if self.request.process != facts.process:
            return None
        return facts.user, facts.sid.ljust(68, b'\0')

    def block(self, reason, allow=0):
        self.verdict.put(0, 'II', allow, reason)

    def parental_prompt(self):
        self.prompt.put_bytes(0, self.library.parental.prompt)

    def name_user(self, user):
        self.verdict.put_wide(1286, user[0] if user else b'', 260)

    # ---- Messages of a DNS server ----

    def judge_dns(self):
        library, request = self.library, self.request
        name, found = dns.parse(request.data)
        if found:
            library.ring.store(name, found)
        if not found or any(addresses.is_private(record) for record in found[:2]):
            return
        if not name.startswith(b'[') and self.modules.has('sitecls.dll'):
            text = b'ftp://' + name if request.kind == 2 else name
            self.modules.release_categories(self.modules.categories(text, 1)[1])
        parental = library.parental
        if library.blocks_in_dns == 0 or parental is None or not any(
                profile.block_list_switch and profile.profile_switch and profile.tables.hosts
                for profile in parental.profiles):
            return
        if sites.matches(parental.profiles[0].tables, name.lower(), b'', request.address, request.kind):
            user = self.user()
            if user is None:
                raise Failed
            self.block(6)
            self.verdict.put_text(8, name, URL)
            self.name_user(user)
            self.parental_prompt()

    # ---- Connections ----

    def judge(self):
        self.parse()
        library, request = self.library, self.request
        self.both = fit(self.host + self.path, URL)
        is_tls = request.kind == 3
        if self.both and (urls.in_url_list(library.web_white, self.both) or
                          (is_tls and urls.in_url_list(library.web_white, self.address))):
            return
        if library.is_managed and library.server and self.host.lower() == library.server.lower():
            return
        first = library.first_profile()
        if library.mode() == 1 and first and self.in_user_list(first.allowed_list):
            return
        self.ask_schedule(first)
        if library.agent_status and VIDEO in self.both.lower():
            return
        if is_tls:
            self.shown = fit(b'https://' + self.both, URL)
        self.ask_block_lists()
        if addresses.is_private(request.address):
            return
        self.ask_malicious()
        self.ask_phishing()
        if library.packets.enabled and library.blocked.has(self.host, self.path):
            self.block(22)
            self.verdict.put_text(1806, self.path, URL)
            self.verdict.put_text(2830, self.host, URL)
            return
        if is_tls and self.modules.has('tlsinsp.dll'):
            self.inspect()
        self.ask_categories(first)

    def parse(self):
        request = self.request
        self.host = self.path = self.shown = b''
        self.address = addresses.scan_text(request.address)
        if request.kind != 3:
            request.data = request.data.replace(b'\0', b' ')
        try:
            if request.kind == 3:
                self.host = self.hello_host()
                self.shown = self.host
            elif request.kind == 2:
                self.path, self.shown = urls.parse_ftp(request.data)
            else:
                self.host, self.path, self.shown = urls.parse_http(request.data)
        except (urls.Refused, Overflow):
            self.host = self.path = self.shown = b''
        if request.kind == 3 and not self.host:
            raise Over
        if request.kind == 2 and self.path:
            self.host = self.address
            self.shown = fit(self.host + self.shown, URL)

    def hello_host(self):
        name = hello.server_name(self.request.data)
        if not name:
            name = self.library.ring.name_of(self.request.address) or b''
        return fit(name, urls.HOST).lower()

    def in_user_list(self, listed):
        kind = self.request.kind
        return listed.has_host(self.host, self.path, kind) or (kind == 3 and listed.has_url(self.address, kind))

    def ask_schedule(self, first):
        if self.library.worker.flag != 0 or first is None:
            return
        self.verdict.put_bytes(3854, self.library.clock.data())
        if not self.in_user_list(first.schedule_list):
            user = self.user()
            self.block(5)
            self.name_user(user)
            self.parental_prompt()
        raise Over

    def ask_block_lists(self):
        parental = self.library.parental
        profiles = parental.profiles if parental else []
        at = 0
        while at < len(profiles):
            if not self.is_blocked_by(profiles[at]):
                at += 1
                continue
            user = self.user()
            if user is None:
                return
            if parental.mode == 1 or profiles[at].identifier == user[1]:
                self.block(6)
                self.verdict.put_text(8, self.both, URL)
                self.name_user(user)
                self.parental_prompt()
                raise Over
            own = next((other for other in range(at + 1, len(profiles)) if profiles[other].identifier == user[1]), None)
            at = at + 1 if own is None else own

    def is_blocked_by(self, profile):
        if not profile.block_list_switch or not profile.profile_switch or not profile.tables.hosts:
            return False
        request = self.request
        return sites.matches(profile.tables, self.host, self.path, request.address, request.kind) or (
            request.kind == 3 and sites.matches(profile.tables, self.address, self.path, request.address, 3))

    def name_threat(self, name, url):
        self.verdict.put_text(8, name, 50)
        self.verdict.put_text(58, url, URL)

    def ask_malicious(self):
        library = self.library
        if library.bp_status == 0:
            return
        if len(self.host) > 255:
            raise Failed
        name = threat_of(library.malicious, self.host, self.path)
        if name is None:
            return
        self.name_threat(name, self.both)
        self.prompt.put_bytes(0, library.bp_prompt)
        if urls.in_user_white_list(library.user_white, self.both):
            self.block(9, 1)
        else:
            self.block(2)
            self.action = self.both
        raise Over

    def ask_phishing(self):
        library = self.library
        if library.ap_status == 0 or not is_phishing(library.phishing, self.host, self.path):
            return
        self.verdict.put_text(8, self.both, URL)
        self.prompt.put_bytes(0, library.ap_prompt)
        if urls.in_user_white_list(library.user_white, self.both):
            self.block(8, 1)
        else:
            self.block(0)
        raise Over

    def inspect(self):
        request = self.request
        number = struct.unpack('<I', request.address[1:5])[0]
        if self.modules.blocks_https(request.process, self.both, number, request.port, len(request.data)):
            user = self.user()
            if user is None:
                raise Failed
            self.block(15)
            self.verdict.put_text(8, self.both, URL)
            self.name_user(user)
            raise Over

    # ---- Categories ----

    def ask_categories(self, first):
        library, request = self.library, self.request
        if not self.shown:
            return
        if request.stop == 1:
            self.verdict.put(0, 'I', 9)
            return
        if library.mode() != 1 or first is None or not (first.category_switch or library.bp_status or
                                                        library.ap_status):
            return
        if self.shown.startswith(b'[') or not self.modules.has('sitecls.dll'):
            raise Failed
        text = fit(b'ftp://' + self.shown, URL) if request.kind == 2 else self.shown
        succeeded, numbers = self.modules.categories(text, 0)
        if not succeeded:
            self.modules.release_categories(numbers)
            raise Failed
        if numbers is None:
            self.ask_patterns()
            return
        counted = considered(numbers, library.parental.strictness)
        if library.bp_status and 2 in counted:
            self.category_hit(numbers, 1, 9, 58, library.bp_prompt)
        elif library.ap_status and 3 in counted:
            self.category_hit(numbers, 0, 8, 8, library.ap_prompt)
        else:
            self.ask_blocked_categories(numbers, counted)

    def category_hit(self, numbers, reason, allowed_reason, place, prompt):
        library = self.library
        if urls.in_url_list(library.bp_white, self.both):
            self.modules.release_categories(numbers)
            return
        self.modules.release_categories(numbers)
        self.verdict.put_text(place, self.shown, URL)
        self.prompt.put_bytes(0, prompt)
        if urls.in_user_white_list(library.user_white, self.both):
            self.block(allowed_reason, 1)
            return
        self.block(reason)
        if reason == 1:
            self.action = self.both

    def ask_patterns(self):
        library, request = self.library, self.request
        if library.bp_status == 0 or not self.modules.has('urlsig.dll'):
            return
        if not self.modules.is_malicious_pattern(request.kind, self.host, self.path, request.port):
            return
        self.name_threat(b'Malicious Url', self.both)
        self.prompt.put_bytes(0, library.bp_prompt)
        if urls.in_url_list(library.bp_white, self.both) or urls.in_user_white_list(library.user_white, self.both):
            self.block(9, 1)
        else:
            self.block(2)
            self.action = self.both

    def ask_blocked_categories(self, numbers, counted):
        library = self.library
        for profile in library.parental.profiles:
            if not profile.category_switch or not profile.profile_switch:
                continue
            number = next((number for number in counted
                           if number not in (2, 3) and number in profile.blocked_categories), None)
            if number is None:
                continue
            user = self.user()
            self.block(7)
            self.verdict.put_text(8, self.shown, URL)
            self.verdict.put(1082, 'I', number)
            self.verdict.put_wide(1086, self.modules.category_name(number), 100)
            self.name_user(user)
            self.parental_prompt()
            break
        self.modules.release_categories(numbers)

"""The scan of a URL that a browser's extension reports."""
from . import sites, urls
from .packets import considered
from .texts import Overflow, Record, fit

URL = urls.URL


class ExtensionScan:
    def __init__(self, library, request):
        self.library, self.request, self.modules = library, request, library.modules
        self.verdict = Record(3870)
        self.prompt = Record(2)

    def run(self):
        self.verdict.put(0, 'II', 1, 26)
        if self.request.kind != 3:
            return 1
        if self.request.data is None:
            return 0
        try:
            return self.judge()
        except Overflow:
            return 0

    def judge(self):
        library = self.library
        url = fit(self.request.data.split(b'\0', 1)[0], URL)
        if b'://' not in url:
            return 0
        host, slash, path = url.split(b'://', 1)[1].partition(b'/')
        if library.mode() == 0:
            return 0
        self.both = host + (slash + path if path else b'')
        first = library.first_profile()
        if first is not None and first.allowed_list.has_host(host, path, 3):
            return 1
        if first is not None and first.block_list_switch == 1:
            fit(host, urls.HOST)
            if sites.matches(first.tables, host, path, bytes(17), 3):
                self.verdict.put(0, 'II', 0, 6)
                self.verdict.put_text(8, host[2:], URL)
                self.verdict.put_wide(1286, library.machine.facts.user, 260)
                self.prompt.put_bytes(0, library.parental.prompt)
                return 1
        switch = first is not None and first.category_switch
        if not switch and not library.bp_status and not library.ap_status:
            return 1
        if url.startswith(b'[') or not self.modules.has('sitecls.dll'):
            return 0
        succeeded, numbers = self.modules.categories(url, 0)
        if succeeded and numbers is not None:
            self.ask(host, path, url, numbers, first if switch else None)
        self.modules.release_categories(numbers)
        return int(succeeded)

    def ask(self, host, path, url, numbers, profile):
        library = self.library
        counted = considered(numbers, library.parental.strictness)
        if library.bp_status and 2 in counted:
            self.hit(1, 9, None, url, library.bp_prompt)
        elif library.ap_status and 3 in counted:
            self.hit(0, 8, None, url, library.ap_prompt)
        elif library.bp_status and self.modules.has('urlsig.dll') and \
                self.modules.is_malicious_pattern(3, host, path, 0):
            self.hit(2, 9, b'Malicious Url', self.both, library.bp_prompt)
        elif profile is not None:
            self.ask_blocked(url, counted, profile)

    def hit(self, reason, allowed_reason, name, text, prompt):
        library = self.library
        if urls.in_url_list(library.bp_white, self.both):
            return
        if name is not None:
            self.verdict.put_text(8, name, 50)
        self.verdict.put_text(8 if reason == 0 else 58, text, URL)
        self.prompt.put_bytes(0, prompt)
        is_allowed = urls.in_user_white_list(library.user_white, self.both)
        self.verdict.put(0, 'II', int(is_allowed), allowed_reason if is_allowed else reason)

    def ask_blocked(self, url, counted, profile):
        number = next((number for number in counted
                       if number not in (2, 3) and number in profile.blocked_categories), None)
        if number is None:
            return
        self.verdict.put(0, 'II', 0, 7)
        self.verdict.put_text(8, url, URL)
        self.verdict.put(1082, 'I', number)
        self.verdict.put_wide(1086, self.modules.category_name(number), 100)
        self.verdict.put_wide(1286, b'', 260)
        self.prompt.put_bytes(0, self.library.parental.prompt)

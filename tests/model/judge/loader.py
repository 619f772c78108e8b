"""Loading and unloading of the companion modules, and the decision about online look-ups."""


class Loader:
    def __init__(self, modules, machine):
        self.modules, self.machine = modules, machine
        self.patterns_flag = 0

    def load_all(self, cell):
        modules = self.modules
        if not self.machine.is_installed:
            return False
        for load, undo in ((lambda: modules.load('setrd.dll'), ()),
                           (lambda: modules.load('statrd.dll'), ('setrd.dll',)),
                           (self.load_signatures, ('statrd.dll', 'setrd.dll')),
                           (lambda: self.load_categories(cell), ('pktsig.dll', 'statrd.dll', 'setrd.dll'))):
            if load():
                continue
            for file in undo:
                self.unload_signatures() if file == 'pktsig.dll' else modules.unload(file)
            return False
        if self.machine.facts.may_inspect:
            self.load_inspection()
        self.load_patterns()
        return True

    def unload_all(self):
        modules = self.modules
        self.unload_patterns()
        self.unload_inspection()
        self.unload_categories()
        self.unload_signatures()
        for file in ('statrd.dll', 'setrd.dll'):
            if modules.has(file):
                modules.unload(file)

    # ---- One by one; each tells whether the module is there ----

    def begin(self, file, initialise):
        modules = self.modules
        if not modules.load(file):
            return False
        if initialise():
            return True
        modules.unload(file)
        return False

    def noted(self, function, line=None):
        self.modules.note(line or function)
        return self.modules.result(function) != 0

    def load_signatures(self):
        return self.begin('pktsig.dll', lambda: self.noted('PKSInit'))

    def unload_signatures(self):
        if self.modules.has('pktsig.dll'):
            self.modules.note('PKSDeinit 77')
            self.modules.unload('pktsig.dll')

    def load_inspection(self):
        def initialise():
            self.modules.pass_on('IntializeSSL')
            return self.noted('IntializeSSL')
        return self.begin('tlsinsp.dll', initialise)

    def unload_inspection(self):
        if self.modules.has('tlsinsp.dll'):
            self.modules.pass_on('DeIntializeSSL')
            self.modules.note('DeIntializeSSL')
            self.modules.unload('tlsinsp.dll')

    def load_patterns(self):
        self.begin('urlsig.dll', lambda: self.noted('WSInitUrlsig'))

    def unload_patterns(self):
        if self.modules.has('urlsig.dll'):
            self.modules.note('WSDeInitUrlsig')
            self.modules.unload('urlsig.dll')

    def load_categories(self, cell):
        def initialise():
            allowed = int(self.is_online_allowed(cell))
            self.modules.pass_on('SCInit')
            return self.noted('SCInit', f'SCInit {allowed}')
        return self.begin('sitecls.dll', initialise)

    def unload_categories(self):
        if self.modules.has('sitecls.dll'):
            self.modules.pass_on('SCDeinit')
            self.modules.note('SCDeinit')
            self.modules.unload('sitecls.dll')

    def reload_categories(self, cell):
        self.unload_categories()
        return self.machine.is_installed and self.load_categories(cell)

    def is_online_allowed(self, cell):
        modules, machine = self.modules, self.machine
        if not machine.is_installed or machine.proxy_forbids():
            return False
        if machine.is_managed() and not self.are_features_enabled(cell):
            return False
        if modules.read_byte('ReadWebSecCloudStatus', cell, 1) == 0:
            return False
        bp_status = modules.read_byte('ReadBPStatus', cell)
        ap_status = modules.read_byte('ReadAPStatus', cell)
        parental = modules.read('ReadPCSettings', cell)
        return parental is not None and bool(bp_status or ap_status or parental.mode)

    def are_features_enabled(self, cell):
        modules = self.modules
        if not modules.load('OPTSTORE.DLL'):
            return False
        record = modules.read('ReadDisableFeaturesSettings', cell)
        modules.unload('OPTSTORE.DLL')
        return record is not None and not (record.data[5] == 1 and record.data[8] == 1)

"""What the two exports for changed settings reload."""


def settings_changed(library, kind, passed):
    if kind > 8:
        return 0
    library.modules.passed = passed
    steps = (change_phishing, change_browsing, change_ids_status, change_white_list, change_parental, change_alert,
             change_inspection, change_inspection, change_everything)
    return int(steps[kind](library, [0]))


def change_phishing(library, cell):
    status = library.modules.read('ReadAPStatus', cell)
    library.ap_status = 0 if status is None else status.data[0]
    if status is None:
        return False
    succeeded, library.ap_prompt = library.read_prompt('ReadAPReportPromptStatus', cell)
    return succeeded and library.loader.reload_categories(cell)


def change_browsing(library, cell):
    status = library.modules.read('ReadBPStatus', cell)
    library.bp_status = 0 if status is None else status.data[0]
    if status is None:
        return False
    succeeded, library.bp_prompt = library.read_prompt('ReadBPReportPromptStatus', cell)
    return succeeded and library.loader.reload_categories(cell)


def change_ids_status(library, cell):
    status = library.modules.read('ReadIDSIPSStatus', cell)
    library.packets.enabled = 0 if status is None else status.data[0]
    return status is not None


def change_white_list(library, cell):
    library.modules.release('ReleaseBPUserWhiteList', library.kept['user'])
    return library.read_list('user', cell)


def change_parental(library, cell):
    library.sessions.save_and_clear()
    if not library.read_parental(cell):
        return False
    library.worker.stop()
    library.start_worker(cell)
    if not library.loader.reload_categories(cell):
        return False
    library.sessions.rebuild(library.parental, cell)
    return True


def change_alert(library, cell):
    succeeded = library.read_alert(cell)
    if not succeeded:
        library.packets.enabled = library.packets.alert = 0
    return succeeded


def change_inspection(library, cell):
    loader, may_inspect = library.loader, library.machine.facts.may_inspect
    if may_inspect:
        loader.unload_inspection()
    if not loader.reload_categories(cell):
        return False
    if may_inspect:
        loader.load_inspection()
    return True


def change_everything(library, cell):
    library.release_settings(cell)
    library.load_settings(1, cell)
    library.worker.stop()
    library.start_worker(cell)
    if not library.loader.reload_categories(cell):
        library.release_settings(cell)
        return False
    return True


def updated(library, mask):
    loader, modules, cell = library.loader, library.modules, [0]
    if not library.machine.is_installed:
        return 0
    if mask & 0x40:
        modules.release('ReleaseBPSettings', library.kept['malicious'])
        library.read_malicious(cell)
    if mask & 0x84 and not loader.reload_categories(cell):
        return 0
    if mask & 0x08:
        loader.unload_patterns()
        loader.load_patterns()
    if mask & 0x01:
        loader.unload_signatures()
        if not loader.load_signatures():
            return 0
    if mask & 0x02 and not reload_reader(modules, 'setrd.dll'):
        return 0
    if mask & 0x10:
        loader.unload_inspection()
        if not loader.load_inspection():
            return 0
    if mask & 0x20 and not reload_reader(modules, 'statrd.dll'):
        return 0
    if mask & 0x1000:
        modules.release('ReleaseIDSSettings', library.kept['rules'])
        library.read_rules(cell)
    return 1


def reload_reader(modules, file):
    if modules.has(file):
        modules.unload(file)
    return modules.load(file)

"""Plays the steps of a script against the model, and answers each call in the same form as the driver."""
from . import changes
from .library import Library
from .texts import PATTERN

SPARE = b'\xAB'  # behind the data


class Request:
    def __init__(self, process, call):
        self.process, self.data, self.address = process, call['data'], call['address']
        self.port, self.stop, self.kind = call['port'], call['stop'], call['kind']


class Answer:
    """What a call gave: its result, every record whole, and what the modules were asked."""

    def __init__(self, result, worker, unreleased, journal, fields):
        self.fields = {'result': str(result), 'worker': worker, 'unreleased': str(unreleased), 'journal': journal,
                       **fields}

    def __eq__(self, other):
        return self.fields == other.fields


class Player:
    def __init__(self, facts):
        self.library = Library(facts)

    def play(self, step):
        """An Answer for a call, None for any other step."""
        if 'call' in step:
            return self.call(step)
        getattr(self, step['do'])(step)
        return None

    # ---- Steps between calls ----

    def load(self, _):
        """An end of the library and its load; what it does at its end stays in the journal for the next answer."""
        self.library.deinit([0])
        self.library.load()

    unload = load  # whichever call comes next finds it loaded

    def reset(self, _):
        self.library.modules.reset()
        self.library.machine.reset()
        self.library.modules.lines.clear()

    def answer(self, step):
        self.library.modules.set_answer(step['field'], step['value'])

    def result(self, step):
        self.library.modules.results[step['function']] = step['value']

    def file(self, step):
        self.library.machine.files[step['name']] = step['data']

    def nofile(self, step):
        self.library.machine.files.pop(step['name'], None)

    def installed(self, step):
        self.library.machine.is_installed = step['value'] != 0

    def agent(self, step):
        self.library.machine.agents.add(step['name'])

    def service(self, step):
        self.library.machine.has_service = step['value'] != 0

    def clock(self, step):
        self.library.clock.set(*step['time'])

    def refuse(self, step):
        self.library.modules.refused.add(step['name'])

    def hide(self, step):
        self.library.modules.hidden.add(step['name'])

    # ---- Calls ----

    def call(self, step):
        modules = self.library.modules
        modules.saved = {}
        modules.passed = None
        result, fields = getattr(self, step['call'])(step)
        journal = b''.join(line + b'\n' for line in modules.lines)
        modules.lines.clear()
        for name, value in modules.saved.items():
            fields[name] = value
        return Answer(result, self.library.worker.state, modules.unreleased, journal, fields)

    def wake(self, _):
        self.library.worker.wake()
        return 1, {}

    def WSInit(self, step):
        cell = [step['cell']]
        return self.library.init(step['mode'], cell), {'cell': str(cell[0]) if cell[0] is not None else 'null'}

    def WSDeinit(self, step):
        cell = [step['cell']]
        result = self.library.deinit(cell)
        return result, {'cell': 'null' if step['cell'] is None else str(cell[0])}

    def WSShutDown(self, step):
        self.library.shut_down(step['passed'])
        return 0, {}

    def WSSettingsChanged(self, step):
        return changes.settings_changed(self.library, step['kind'], step['passed']), {}

    def WSUpdateSettingsChanged(self, step):
        mask = step['mask']
        if mask is None:
            return 0, {'mask': 'null'}
        return changes.updated(self.library, mask), {'mask': str(mask)}

    def WSScanUrl(self, step):
        return self.scan(step, self.library.scan_url, 'rdzvp')

    def WSWebExtScanUrl(self, step):
        return self.scan(step, self.library.scan_extension, 'rvp')

    def scan(self, step, judge, refused):
        before = step['data']
        fields = {'verdict': bytes([PATTERN]) * 3870, 'prompt': bytes([PATTERN]) * 2, 'data': before + SPARE}
        if any(argument in step['nulls'] for argument in refused) or ('z' in refused and not before):
            return 0, fields
        process = self.library.machine.facts.process if step['process'] == 'self' else step['process']
        request = Request(process, step)
        if 'd' in step['nulls']:
            request.data = None
        result, scan = judge(request)
        fields['verdict'], fields['prompt'] = bytes(scan.verdict.bytes), bytes(scan.prompt.bytes)
        if judge == self.library.scan_url:
            fields['data'] = request.data + b'\0'
        return result, fields

    def WSGetUrlScanFeatureStatus(self, step):
        if step['nulls'] == 's':
            return 0, {'status': bytes([PATTERN])}
        return 1, {'status': bytes([self.library.feature_status()])}

    def WSScanPacket(self, step):
        if step['nulls'] != '-' or not step['frame']:
            return 0, {'verdict': bytes([PATTERN]) * 1231}
        verdict = self.library.scan_packet(step['frame'], step['rule'], step['inbound'])
        return 1, {'verdict': bytes(verdict.bytes)}

    def WSScanSMBPacket(self, step):
        if step['nulls'] != '-' or not step['frame']:
            return 0, {'found': bytes([PATTERN]) * 1058}
        result, found = self.library.smb.scan(step['frame'])
        return result, {'found': bytes(found.bytes)}

    def WSDropConnection(self, step):
        return self.library.drop_connection(step['frame']) if step['frame'] else 0, {}

    def WSAddURLToIDSBlockedList(self, step):
        if step['host'] is None:
            return 0, {}
        self.library.blocked.add(step['host'], step['text'])
        return 1, {}

    def WSScanLogonEventForPCCTRL(self, step):
        if step['nulls'] != '-':
            return 0, {'verdict': bytes([PATTERN]) * 601}
        result, verdict = self.library.sessions.judge(step['event'], self.library.parental)
        return result, {'verdict': bytes(verdict.bytes)}

"""Steps as the lines of the driver, and its answers as the model gives them."""
from judge.player import SPARE, Answer
from judge.settings import Memory
from judge.texts import PATTERN

SIZES = {'WSScanUrl': {'verdict': 3870, 'prompt': 2}, 'WSWebExtScanUrl': {'verdict': 3870, 'prompt': 2},
         'WSGetUrlScanFeatureStatus': {'status': 1}, 'WSScanPacket': {'verdict': 1231},
         'WSScanSMBPacket': {'found': 1058}, 'WSScanLogonEventForPCCTRL': {'verdict': 601}}


class BadAnswer(Exception):
    """The driver's line cannot be read."""


def hexed(data):
    return data.hex() if data else '-'


def cell(value):
    return 'null' if value is None else str(value)


def pointers(inside):
    return ''.join(f' {offset}={name}' for offset, name in sorted(inside.items()))


def answer_lines(step, number):
    memory = Memory(f'{number}.')
    data, inside = step['value'].encode(memory)
    lines = [f'block {name} {hexed(block)}{pointers(targets)}' for name, block, targets in memory.blocks]
    return lines + [f'answer {step["field"]} {hexed(data)}{pointers(inside)}']


def call_line(step):
    name = step['call']
    if name == 'wake':
        return name
    if name == 'WSInit':
        return f'{name} {step["mode"]} {cell(step["cell"])}'
    if name == 'WSDeinit':
        return f'{name} {cell(step["cell"])}'
    if name in ('WSShutDown', 'WSSettingsChanged'):
        numbers = ([step['kind']] if 'kind' in step else []) + list(step['passed'])
        return f'{name} ' + ' '.join(str(number) for number in numbers)
    if name == 'WSUpdateSettingsChanged':
        return f'{name} {cell(step["mask"])}'
    if name in ('WSScanUrl', 'WSWebExtScanUrl'):
        return (f'{name} {step["process"]} {hexed(step["data"])} {step["address"].hex()} {step["port"]} '
                f'{step["stop"]} {step["kind"]} {step["nulls"]}')
    if name == 'WSGetUrlScanFeatureStatus':
        return f'{name} {step["nulls"]}'
    if name == 'WSScanPacket':
        return f'{name} {hexed(step["frame"])} {step["rule"]} {step["inbound"]} {step["nulls"]}'
    if name == 'WSScanSMBPacket':
        return f'{name} {hexed(step["frame"])} {step["direction"]} {step["nulls"]}'
    if name == 'WSDropConnection':
        return f'{name} {hexed(step["frame"])}'
    if name == 'WSAddURLToIDSBlockedList':
        return f'{name} null null' if step['host'] is None else f'{name} {hexed(step["host"])} {hexed(step["text"])}'
    if name == 'WSScanLogonEventForPCCTRL':
        return f'{name} {step["event"].hex()} {step["nulls"]}'
    raise ValueError(name)


def lines_of(step, number):
    """The driver's lines of a step; the number tells its blocks from those of other steps."""
    if 'call' in step:
        return [call_line(step)]
    what = step['do']
    if what == 'answer':
        return answer_lines(step, number)
    if what == 'result':
        return [f'result {step["function"]} {step["value"]}']
    if what == 'file':
        return [f'file {step["name"]} {hexed(step["data"])}']
    if what == 'clock':
        year, month, day, hour, minute, second, milliseconds = step['time']
        from judge.clock import Clock
        weekday = Clock(year, month, day).weekday
        return [f'clock {year} {month} {weekday} {day} {hour} {minute} {second} {milliseconds}']
    if what in ('installed', 'service'):
        return [f'{what} {step["value"]}']
    if what in ('agent', 'refuse', 'hide', 'nofile'):
        return [f'{what} {step["name"]}']
    return [what]


def changed(before, text):
    data = bytearray(before)
    if text != '-':
        for part in text.split(','):
            offset, digits = part.split(':')
            new = bytes.fromhex(digits)
            data[int(offset):int(offset) + len(new)] = new
    return bytes(data)


def answer_of(step, line):
    """The driver's line about a call."""
    try:
        result, *words = line.split(' ')
        said = dict(word.split('=', 1) for word in words)
        fields = {'worker': said.pop('worker'), 'unreleased': said.pop('unreleased')}
        journal = said.pop('journal')
        for name, text in said.items():
            if name in SIZES.get(step['call'], {}):
                fields[name] = changed(bytes([PATTERN]) * SIZES[step['call']][name], text)
            elif name == 'data':
                fields[name] = changed(step['data'] + SPARE, text)
            elif name == 'dns':
                count, index, names = text.split(':')
                fields[name] = (int(count), int(index), b'' if names == '-' else bytes.fromhex(names))
            elif name == 'sessions':
                count, records = text.split(':')
                fields[name] = (int(count), bytes.fromhex(records))
            elif name == 'quarantine':
                fields[name] = bytes.fromhex(text)
            else:
                fields[name] = text
        answer = Answer(result, fields.pop('worker'), fields.pop('unreleased'),
                        b'' if journal == '-' else bytes.fromhex(journal), fields)
    except (KeyError, ValueError) as failure:
        raise BadAnswer(f'{line[:200]!r}: {failure}') from failure
    return answer

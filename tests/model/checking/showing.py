"""A difference as a person reads it, and as a program does."""
from .lines import lines_of


def shown(value):
    if isinstance(value, bytes):
        return value.hex()
    return [shown(part) for part in value] if isinstance(value, tuple) else value


def runs(library, model):
    """(offset, the library's bytes, the model's) for each run of bytes that differs."""
    size = max(len(library), len(model))
    found, at = [], 0
    while at < size:
        if library[at:at + 1] == model[at:at + 1]:
            at += 1
            continue
        end = at
        while end < size and library[end:end + 1] != model[end:end + 1]:
            end += 1
        found.append((at, library[at:end], model[at:end]))
        at = end
    return found


def readable(data):
    return ''.join(chr(byte) if 32 <= byte < 127 else '.' for byte in data)


def side_by_side(name, library, model):
    if name == 'journal':
        one, other = library.split(b'\n'), model.split(b'\n')
        at = next((at for at in range(min(len(one), len(other))) if one[at] != other[at]), min(len(one), len(other)))
        yield f'  journal, from line {at + 1} on:'
        for who, lines in (('library', one), ('model', other)):
            for line in lines[at:at + 6]:
                yield f'    {who:8}{line.decode("latin-1")}'
        return
    if not isinstance(library, bytes) or not isinstance(model, bytes):
        yield f'  {name}: library {str(shown(library))[:300]}, model {str(shown(model))[:300]}'
        return
    for offset, one, other in runs(library, model)[:20]:
        yield f'  {name} at {offset}: library {one[:64].hex()} {readable(one[:64])!r}'
        yield f'  {" " * len(name)}    {" " * len(str(offset))}  model   {other[:64].hex()} {readable(other[:64])!r}'


def report(difference, steps, seed):
    yield f'DIFFERENCE with seed {seed}: {difference.step.get("call")}, step {difference.index + 1}'
    if isinstance(difference.library, str):
        yield f'  {difference.library}'
    else:
        for name in sorted(difference.fields()):
            yield from side_by_side(name, difference.library.fields.get(name), difference.model.fields.get(name))
    yield f'The script, {len(steps)} steps:'
    for step in steps:
        yield '  ' + ', '.join(f'{name} {brief(value)}' for name, value in step.items())


def brief(value):
    text = repr(value)
    return text if len(text) <= 1500 else f'{text[:1500]}... ({len(text)} characters)'


def as_data(difference, steps, seed):
    def side(answer):
        return answer if isinstance(answer, str) else {name: shown(value) for name, value in answer.fields.items()}
    return {'seed': seed, 'call': difference.step.get('call'), 'fields': sorted(difference.fields()),
            'library': side(difference.library), 'model': side(difference.model),
            'script': [line for number, step in enumerate(steps) for line in lines_of(step, number)]}

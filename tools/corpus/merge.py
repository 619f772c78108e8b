"""One stream of events of all results, in the order of the captures' names."""


def merge(run):
    """Writes events.jsonl; the number of its lines."""
    numbered = sorted((name, number) for number, name in enumerate(run.captures()))
    part = run.folder / 'events.jsonl.new'
    lines = 0
    with open(part, 'wb') as out:
        for _, number in numbered:
            if run.result(number).exists():
                with open(run.result(number), 'rb') as result:
                    for line in result:
                        out.write(line)
                        lines += 1
    part.replace(run.folder / 'events.jsonl')
    return lines

"""One stream of events of all results, in the order of the captures' names."""
import json
from pathlib import Path


def named(name):
    """What calls the capture by its own name, as tarnhost does, and by its place in the corpus."""
    return [f'"capture":{json.dumps(text, ensure_ascii=False)}'.encode(errors='surrogateescape')
            for text in (Path(name).name, name)]


def merge(run):
    """Writes events.jsonl; the number of its lines."""
    numbered = sorted((name, number) for number, name in enumerate(run.captures()))
    part = run.folder / 'events.jsonl.new'
    lines = 0
    with open(part, 'wb') as out:
        for name, number in numbered:
            if run.result(number).exists():
                with open(run.result(number), 'rb') as result:
                    for line in result:
                        out.write(line.replace(*named(name), 1))
                        lines += 1
    part.replace(run.folder / 'events.jsonl')
    return lines

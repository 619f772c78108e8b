"""Both sides of a script: what they answered, and the first difference."""
from dataclasses import dataclass

from judge.player import Player


@dataclass
class Difference:
    index: int  # of the step
    step: dict
    library: object  # an Answer, or a text about an end
    model: object

    def signature(self):
        """What has to stay when the script gets shorter: the call and the fields that differ."""
        return self.step.get('call'), tuple(sorted(self.fields()))

    def fields(self):
        if isinstance(self.library, str):
            return ['end']
        names = set(self.library.fields) | set(self.model.fields)
        return [name for name in names if self.library.fields.get(name) != self.model.fields.get(name)]


def compare(driver, steps, heard=None):
    """The first difference or None; heard(step, answer) is told of each call on which both agree."""
    facts, answers, is_whole, trouble = driver.play(steps)
    player = Player(facts)
    at = 0
    for index, step in enumerate(steps):
        said = player.play(step)
        if said is None:
            continue
        if at == len(answers):
            return Difference(index, step, f'the library did not answer: {trouble}', said)
        if answers[at] != said:
            return Difference(index, step, answers[at], said)
        if heard is not None:
            heard(step, said)
        at += 1
    if not is_whole:
        return Difference(len(steps) - 1, steps[-1], f'the script did not end: {trouble}', 'played')
    return None


def shortened(driver, steps, difference, attempts=60):
    """The script without steps that the difference does not need."""
    steps = steps[:difference.index + 1]
    wanted = difference.signature()

    def still(candidate):
        found = compare(driver, candidate)
        return found if found is not None and found.signature() == wanted and \
            found.index == len(candidate) - 1 else None

    # Mostly the last life alone is enough.
    start = max((at for at, step in enumerate(steps) if step.get('do') == 'reset'), default=0)
    candidate = [step for step in steps[:start] if step.get('do') == 'agent'] + steps[start:]
    found = still(candidate)
    if found is not None:
        steps, difference = candidate, found
    size = max(1, len(steps) // 2)
    while attempts > 0:
        at, has_dropped = 0, False
        while at < len(steps) - 1 and attempts > 0:
            candidate = steps[:at] + steps[min(at + size, len(steps) - 1):]
            attempts -= 1
            found = still(candidate)
            if found is not None:
                steps, difference, has_dropped = candidate, found, True
            else:
                at += size
        if size == 1 and not has_dropped:
            break
        size = max(1, size // 2)
    return steps, difference

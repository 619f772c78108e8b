"""The mutants of a source: one small change each, at its place. No compiler is asked, so that some do not compile.

Comments, texts, preprocessor lines, assertions and attributes are left alone. clang-format puts blanks around binary
operators and none around the brackets of templates, which tells a comparison from a template.
"""
import bisect
import dataclasses
import re

TOKEN = re.compile(r'''
      (?P<skip>//[^\n]*|/\*.*?\*/|\s+)
    | (?P<preprocessor>^[ \t]*\#(?:\\\n|[^\n])*)
    | (?P<text>(?:u8|u|U|L)?R"(?P<mark>[^\s()\\]*)\(.*?\)(?P=mark)"|(?:u8|u|U|L)?"(?:\\.|[^"\\\n])*"
        |(?:u8|u|U|L)?'(?:\\.|[^'\\\n])+')
    | (?P<number>(?:0[xX][0-9a-fA-F']+|0[bB][01']+|[0-9](?:[0-9']*[0-9])?(?:\.[0-9]+)?(?:[eE][+-]?[0-9]+)?)\w*)
    | (?P<word>[A-Za-z_]\w*)
    | (?P<mark_>->\*|<=>|<<=|>>=|\.\.\.|::|->|\+\+|--|&&|\|\||==|!=|<=|>=|<<|[-+*/%&|^]=|\[\[|\]\]|[^\w\s])
    ''', re.VERBOSE | re.DOTALL | re.MULTILINE)
# An operator between two blanks, and what it becomes.
BINARY = {'==': '!=', '!=': '==', '<': '<=', '<=': '<', '>': '>=', '>=': '>', '&&': '||', '||': '&&',
          '+': '-', '-': '+', '*': '/', '/': '*', '%': '*', '<<': '>>', '&': '|', '|': '&', '^': '&',
          '+=': '-=', '-=': '+=', '*=': '/=', '|=': '&=', '&=': '|=', '^=': '|=', '<<=': '>>='}
# The other side of a bound.
OPPOSITE = {'<': '>=', '<=': '>', '>': '<=', '>=': '<'}
COMPARISONS = ('==', '!=', '<', '<=', '>', '>=')
LEFT_ALONE = ('static_assert', 'TARN_ASSERT', 'alignas', 'decltype', 'sizeof', 'requires', 'operator', 'noexcept')
NO_CALL = ('return', 'throw', 'delete', 'new', 'using', 'if', 'for', 'while', 'switch', 'case', 'goto', 'friend',
           'static', 'constexpr', 'const', 'auto', 'template', 'typename', 'class', 'struct', 'enum', 'default', 'else',
           'do', 'catch', 'explicit', 'virtual', 'inline', 'extern', 'co_await', *LEFT_ALONE)
OPEN, CLOSE = '([{', ')]}'


@dataclasses.dataclass(frozen=True)
class Mutant:
    file: str
    line: int     # of the first change, from 1
    kind: str
    start: int    # what stands from start to end becomes text
    end: int
    text: str
    before: str   # the line, and what becomes of it
    after: str


@dataclasses.dataclass
class Token:
    kind: str
    text: str
    start: int

    @property
    def end(self):
        return self.start + len(self.text)


def tokens_of(source):
    """What the compiler sees, preprocessor lines and comments apart."""
    found, at = [], 0
    while at < len(source):
        match = TOKEN.match(source, at)
        if match is None:
            raise ValueError(f'unreadable: {source[at:at + 20]!r}')
        kind = 'mark' if match.lastgroup == 'mark_' else match.lastgroup
        if match['text'] is not None:
            kind = 'text'
        if kind not in ('skip', 'preprocessor'):
            found.append(Token(kind, match[0], at))
        at = match.end()
    return found


def pairs_of(tokens):
    """The index of the bracket that closes each one that opens."""
    closes, opened = {}, []
    for index, token in enumerate(tokens):
        if token.kind == 'mark' and token.text in ('[[', *OPEN):
            opened += [index] * (2 if token.text == '[[' else 1)
        elif token.kind == 'mark' and token.text in (']]', *CLOSE):
            for _ in range(2 if token.text == ']]' else 1):
                if not opened:
                    raise ValueError(f'a bracket too many at {token.start}')
                closes[opened.pop()] = index
    return closes


def left_alone(tokens, closes):
    """Indices of what belongs to an assertion, an attribute or the like."""
    alone = set()
    for index, token in enumerate(tokens):
        if token.text == '[[':
            alone.update(range(index, closes[index] + 1))
        elif token.text in LEFT_ALONE:
            bracket = index + 1
            alone.update((index, bracket))
            if bracket in closes:
                alone.update(range(bracket, closes[bracket] + 1))
    return alone


def spaced(source, token):
    return source[token.start - 1:token.start].isspace() and source[token.end:token.end + 1].isspace()


def of_operators(source, tokens, alone):
    for index, token in enumerate(tokens):
        if index in alone or token.kind != 'mark':
            continue
        if token.text in BINARY and spaced(source, token):
            kind = ('comparison' if token.text in COMPARISONS else
                    'condition' if token.text in ('&&', '||') else 'arithmetic')
            yield kind, token.start, token.end, BINARY[token.text]
            if token.text in OPPOSITE:
                yield 'comparison', token.start, token.end, OPPOSITE[token.text]
        elif token.text in ('++', '--'):
            yield 'arithmetic', token.start, token.end, {'++': '--', '--': '++'}[token.text]
        elif token.text == '!':
            yield 'negation', token.start, token.end, ''


def of_constants(tokens, alone):
    for index, token in enumerate(tokens):
        if index in alone:
            continue
        if token.text in ('true', 'false'):
            yield 'constant', token.start, token.end, 'false' if token.text == 'true' else 'true'
        elif token.kind == 'number' and '.' not in token.text:
            yield 'constant', token.start, token.end, f'({token.text} + 1)'
            if int(re.sub(r"'|[uUlLzZ]+$", '', token.text), 0 if token.text[:2].lower() in ('0x', '0b') else 10) > 1:
                yield 'constant', token.start, token.end, f'({token.text} - 1)'


def of_conditions(source, tokens, closes, alone):
    """The whole condition of an if or a while, negated, without a declaration in front.

    One that is a single comparison or negation is left to those."""
    for index, token in enumerate(tokens):
        if index in alone or token.text not in ('if', 'while') or index + 1 not in closes:
            continue
        first, last, at = index + 2, closes[index + 1], index + 2
        while at < last:
            if tokens[at].text == ';':
                first = at + 1
            at = closes.get(at, at) + 1
        if first == last:
            continue
        texts = {part.text for part in tokens[first:last] if part.kind == 'mark' and spaced(source, part)}
        if not texts & {'&&', '||'} and (tokens[first].text == '!' or texts & {*COMPARISONS, '='}):
            continue
        start, end = tokens[first].start, tokens[last].start
        yield 'condition', start, end, f'!({source[start:end]})'


def of_calls(tokens, closes, alone):
    """A statement that is a call and nothing else."""
    for index, token in enumerate(tokens):
        before = tokens[index - 1].text if index else ';'
        if index in alone or token.kind != 'word' or token.text in NO_CALL:
            continue
        if token.text.isupper() or before not in (';', '{', '}', ')', 'else'):
            continue    # a macro, or no statement
        at, last = index, ''
        while at < len(tokens) and tokens[at].text != ';':
            text, kind = tokens[at].text, tokens[at].kind
            if kind == 'word' and last == 'word':
                break   # a declaration
            if at in closes and text in ('(', '['):
                at, last = closes[at] + 1, ')' if text == '(' else ']'
                continue
            if not (kind == 'word' or text in ('.', '->', '::')):
                break
            at, last = at + 1, kind
        if at < len(tokens) and tokens[at].text == ';' and last == ')':
            yield 'call', token.start, tokens[at].start, ''


def of_rows(source, tokens, closes):
    """Two neighbours of a table whose rows stand in braces."""
    for index, token in enumerate(tokens):
        if token.text != '{' or index not in closes or index == 0 or tokens[index - 1].text != '=':
            continue
        rows, at = [], index + 1
        while at < closes[index] and tokens[at].text == '{':
            rows.append((tokens[at].start, tokens[closes[at]].end))
            at = closes[at] + 1
            if tokens[at].text == ',':
                at += 1
        if at != closes[index]:
            continue
        for (start, end), (next_start, next_end) in zip(rows, rows[1:]):
            first, second = source[start:end], source[next_start:next_end]
            if first != second:
                yield 'order', start, next_end, second + source[end:next_start] + first


def mutants_of(file, source):
    """Every mutant of a source, in the order of its places."""
    tokens = tokens_of(source)
    closes = pairs_of(tokens)
    alone = left_alone(tokens, closes)
    lines = [0] + [at + 1 for at, character in enumerate(source) if character == '\n']
    found = []
    for kind, start, end, text in (*of_operators(source, tokens, alone), *of_constants(tokens, alone),
                                   *of_conditions(source, tokens, closes, alone), *of_calls(tokens, closes, alone),
                                   *of_rows(source, tokens, closes)):
        line = bisect.bisect_right(lines, start)
        first, last = lines[line - 1], source.find('\n', end)
        last = len(source) if last == -1 else last
        before, after = source[first:last], source[first:start] + text + source[end:last]
        found.append(Mutant(file, line, kind, start, end, text, plain(before), plain(after)))
    return sorted(found, key=lambda mutant: (mutant.start, mutant.end, mutant.text))


def plain(lines):
    """Some lines as one, each run of blanks as one."""
    return ' '.join(lines.split())


def applied(mutant, source):
    return source[:mutant.start] + mutant.text + source[mutant.end:]

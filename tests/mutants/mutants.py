"""The small changes that scripts/mutate makes: a list of them for each source, in a fixed order."""
import re
from dataclasses import dataclass

STRING = re.compile(r'"(?:[^"\\\n]|\\.)*"')
CHAR = re.compile(r"'(?:[^'\\\n]|\\.)'")
NUMBER = re.compile(r"(?<![\w.'])(0[0-7]+|0x[0-9a-fA-F]+|\d+)([uUlL]*)(?![\w.'])")
SIMPLE = re.compile(r'^(\s+)(?!(?:return|break|continue|case|using|static_assert|else|if|for|while|public|private|default|goto)\b)'
                    r'[A-Za-z_*(][^{}]*;$')
DECLARATION = re.compile(r'^\s+(?:static |constexpr |const |inline |auto |\[\[)|^\s+[\w:<>,]+[&*]*(?: const)?[&*]* [\w]+(?:\[\w*\])?(?: = | ?\{|;|\()')
# A variable that nothing is called for: the order of two of them says nothing.
PLAIN = re.compile(r'^\s+(?:(?:static|constexpr|const|inline|mutable) )*[\w:]+(?:<[\w:<>,*& ]+>)?[*&]* [\w]+(?:\[\w*\])?(?: = [^()]*|\{[^()]*\})?;$')
LEAVES = re.compile(r'^\s+(?:if \(.*\) )?(?:return\b.*|continue|break);$')

# What stands between blanks, and what it becomes.
BETWEEN_BLANKS = {
    '==': ['!='], '!=': ['=='], '<': ['<='], '<=': ['<'], '>': ['>='], '>=': ['>'],
    '&&': ['||'], '||': ['&&'], '+': ['-'], '-': ['+'], '*': ['/'], '/': ['*'], '%': ['*'],
    '+=': ['-='], '-=': ['+='], '|=': ['&='], '|': ['&'], '&': ['|'],
}
# A comparison with 0 or -1: the contract that answers of only -1, 0 and 1 cannot tell from it.
OTHER_CONTRACT = {
    ('<', '0'): '!= 0', ('>', '0'): '!= 0', ('>=', '0'): '!= -1', ('==', '-1'): '< 0', ('!=', '-1'): '>= 0',
    ('<', '1'): '== 0', ('!=', '0'): '> 0', ('==', '0'): '<= 0',
}
WORDS = {'true': 'false', 'false': 'true', 'break': 'continue', 'continue': 'break'}


@dataclass(frozen=True)
class Mutant:
    file: str
    line: int  # from 1
    old: str   # the changed lines, as they stand
    new: str

    @property
    def key(self):
        """The same for as long as the line and its change are, wherever the line stands."""
        return f'{self.file}: {squeeze(self.old)} => {squeeze(self.new)}'

    def apply(self, lines):
        count = self.old.count('\n') + 1
        return lines[:self.line - 1] + self.new.split('\n') + lines[self.line - 1 + count:]


def squeeze(text):
    return ' '.join(text.split()) or '(nothing)'


def blank(match):
    return ' ' * len(match.group())


def code_of(lines):
    """LINES without comments, and with blanks for what stands in texts, so that columns stay."""
    result = []
    for line in lines:
        code = STRING.sub(lambda m: '"' + ' ' * (len(m.group()) - 2) + '"', line)
        code = CHAR.sub(lambda m: "'" + ' ' * (len(m.group()) - 2) + "'", code)
        comment = code.find('//')
        result.append(code if comment < 0 else code[:comment] + ' ' * (len(code) - comment))
    return result


def is_skipped(code):
    text = code.strip()
    return (not text or text.startswith(('#', 'using ', 'namespace ', 'template ', 'static_assert', '__attribute__', 'friend '))
            or ' = default;' in text or ' = delete;' in text)


def other_text(text):
    """TEXT, a literal with its quotes, with one letter changed; an empty one gets one."""
    inner = text[1:-1]
    letters = [i for i, c in enumerate(inner) if c.isalnum() and (i == 0 or inner[i - 1] not in '\\%')]
    if not letters:
        return text[0] + inner + 'q' + text[-1]
    at = letters[len(letters) // 2]
    return text[0] + inner[:at] + ('q' if inner[at] != 'q' else 'z') + inner[at + 1:] + text[-1]


def changes_in_line(line, code):
    """(start, end, replacement) for every change inside one line."""
    for match in re.finditer(r'(?<= )(==|!=|<=|>=|<|>|&&|\|\||\+=|-=|\|=|\+|-|\*|/|%|\||&)(?= )', code):
        for other in BETWEEN_BLANKS.get(match.group(), []):
            yield match.start(), match.end(), other
        bound = re.match(r' (-?[01])(?![\w.])', code[match.end():])
        if bound and (match.group(), bound.group(1)) in OTHER_CONTRACT:
            yield match.start(), match.end() + len(bound.group()), OTHER_CONTRACT[match.group(), bound.group(1)]
    for match in re.finditer(r'(?<![\w!])!(?=[\w(:*])', code):
        yield match.start(), match.end(), ''
    for match in re.finditer(r'\+\+|--(?!>)', code):
        yield match.start(), match.end(), '--' if match.group() == '++' else '++'
    for match in re.finditer(r'\b(true|false|break|continue)\b', code):
        yield match.start(), match.end(), WORDS[match.group()]
    for match in NUMBER.finditer(code):
        digits, suffix = match.groups()
        if digits.startswith('0x') or (digits.startswith('0') and digits != '0'):
            value, form = int(digits, 16 if 'x' in digits else 8), ('0x{:x}' if 'x' in digits else '0{:o}')
        else:
            value, form = int(digits), '{}'
        yield match.start(), match.end(), form.format(value + 1) + suffix
        if value > 0:
            yield match.start(), match.end(), form.format(value - 1) + suffix
    for pattern in (STRING, CHAR):
        for match in pattern.finditer(line):
            if code[match.start()] == match.group()[0]:
                yield match.start(), match.end(), other_text(match.group())
    condition = re.match(r'^(\s*(?:\} else )?(?:if|while) \()(.*?)(\)(?: \{| return.*;| continue;| break;)?)$', code)
    if condition and code.count('(') == code.count(')') and ';' not in condition.group(2):
        start, end = condition.end(1), condition.end(2)
        if balanced(code[start:end]) and ' = ' not in code[start:end]:
            yield start, end, '!(' + line[start:end] + ')'


def balanced(text):
    depth = 0
    for c in text:
        depth += (c == '(') - (c == ')')
        if depth < 0:
            return False
    return depth == 0


def is_statement(code):
    return bool(SIMPLE.match(code)) and not DECLARATION.match(code) and balanced(code)


def starts_fresh(codes, at):
    """Whether line AT begins a statement (the line before ends one)."""
    before = codes[at - 1].strip() if at > 0 else ''
    return not before or before[-1] in ';{}:'


def changes_of_lines(lines, codes, at):
    """(old lines, new lines) for changes of whole statements."""
    code = codes[at].rstrip()
    if not starts_fresh(codes, at):
        return
    if is_statement(code):
        yield lines[at], re.match(r'\s*', lines[at]).group() + ';'
    if LEAVES.match(code) and (code.strip().startswith('if') or not is_last(codes, at)):
        yield lines[at], re.match(r'\s*', lines[at]).group() + ';'
    following = codes[at + 1].rstrip() if at + 1 < len(codes) else ''
    same_indent = re.match(r'\s*', code).group() == re.match(r'\s*', following).group()
    if same_indent and can_swap(code) and can_swap(following) and not (PLAIN.match(code) and PLAIN.match(following)):
        yield lines[at] + '\n' + lines[at + 1], lines[at + 1] + '\n' + lines[at]


def can_swap(code):
    whole = bool(re.match(r'^\s+\S.*;$', code)) and balanced(code) and '{' not in code and not is_skipped(code)
    # The order of members and of declarations of functions says nothing.
    member = re.match(r'^\s+[\w:<>,*& ]+\w_( = [^;]*)?;$', code) or re.match(r'^\s+[\w:<>,*&\[\] ]+ \w+\([^()]*\)( const)?( noexcept)?;$', code)
    return whole and not member and not re.match(r'^\s+(return|case|break|continue|public|private|else)\b', code)


def is_last(codes, at):
    """Whether nothing but the end of a function follows: without its last return it would not be one."""
    following = codes[at + 1].strip() if at + 1 < len(codes) else ''
    return following.startswith('}') and codes[at].startswith('  ') and not codes[at].startswith('    ')


def mutants_of(file, text):
    lines = text.split('\n')
    codes = code_of(lines)
    found = {}
    for at, (line, code) in enumerate(zip(lines, codes)):
        if is_skipped(code):
            continue
        changed = [(line, line[:s] + new + line[e:]) for s, e, new in changes_in_line(line, code)]
        for old, new in changed + list(changes_of_lines(lines, codes, at)):
            if old != new:
                mutant = Mutant(file, at + 1, old, new)
                found.setdefault((mutant.line, mutant.new), mutant)
    return list(found.values())

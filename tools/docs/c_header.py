"""tav.h for Doxygen."""
import re
import sys

from comments import body, described, described_blocks, marked, paragraphs
from header_reader import Reader, name_of, signature


def tasks(text):
    """(task, [slot's name]) from the index in the first comment of tav.h."""
    index = re.search(r'// SLOTS BY TASK.*?\n//\n(.*?)//\n// RULES', text, re.S).group(1)
    result = []
    for line in index.splitlines():
        if re.match(r'//   \S', line):
            result.append((line[2:].strip(), []))
        else:
            result[-1][1].extend(re.findall(r'\d+ (\w+)', line))
    return result


def slots(text):
    return [name for _, names in tasks(text) for name in names]


def rules(lines, links):
    """The rules for all slots. Each begins with its subject, which becomes a target for links."""
    out = []
    for kind, block in paragraphs(lines, 0):
        subject = re.match(r'([A-Z](?: ?\w+){0,5})\. ', block[0])
        if kind == 'text' and subject:
            label = subject.group(1).lower().replace(' ', '-')
            block = [block[0][subject.end():]] + block[1:]
            text = body([(kind, block)], links)
            out += [f'\\anchor rule-{label}', f'**{subject.group(1)}.** {text[0]}', '']
        else:
            out += body([(kind, block)], links)
    return out


def overview(text, comment, links):
    """The first comment of the header."""
    index, end = (next(i for i, line in enumerate(comment) if line.startswith(title))
                  for title in ('SLOTS BY TASK', 'RULES FOR ALL SLOTS'))
    out = ['\\file', *described(comment[:index], 0, links)]
    out += ['\\section slots-by-task Slots by task', '']
    for task, names in tasks(text):
        linked = ', '.join(links.escape(name) for name in names)
        out.append(f'- **{task}**: {linked}')
    out += ['', '\\section rules Rules for all slots', '', *rules(comment[end + 1:], links)]
    return marked(out)


NUMBER = re.compile(r'((?:Slot|Word)s? \d+(?: (?:and|to) \d+)?)\. (?:(Setting|Wait)s?\. )?')
RULES = {None: '', 'Setting': ', a \\ref rule-setting "setting"',
         'Wait': ', \\ref rule-waits "waits"'}


def slot_comment(lines, name, links):
    """The comment of a slot or of a component's operation. Number and rule become a line."""
    blocks = paragraphs(lines, 2)
    kind, block = blocks[0] if blocks else ('text', [''])
    number = NUMBER.match(block[0])
    if not number:
        sys.exit(f'docs: the comment of {name} does not begin with its number')
    blocks[0] = (kind, [block[0][number.end():], *block[1:]])
    label = f'<span class="slot">{number.group(1)}{RULES[number.group(2)]}</span>'
    own = name if number.group(1).startswith('Slot') else None
    return described_blocks(blocks, links, own, [label, ''])


def members(reader):
    """(comment, declaration) to the closing brace. A comment holds until a blank line."""
    result = []
    comment = []
    while not reader.line().startswith('}'):
        if not reader.line():
            reader.take()
            comment = []
        elif reader.line().startswith('//'):
            comment = reader.comment()
        else:
            result.append((comment, reader.declaration()))
    reader.take()
    return result


SHOWN = ['Each member with parentheses is a pointer to a function, shown as a host calls it.', '']


def member(comment, declaration, links, example):
    name = name_of(declaration)
    text = slot_comment(comment, name, links)
    shown = signature(declaration).replace(f'(*{name})', f' {name}').replace('(void)', '()')
    return marked(text + example) + [shown, '']


def table(reader, text, links, examples):
    by_name = {name_of(declaration): (comment, declaration)
               for comment, declaration in members(reader)}
    out = []
    for task, names in tasks(text):
        out += marked([f'@name {task}', '@{']) + ['']
        for name in names:
            out += member(*by_name.pop(name), links, examples.of(name))
        out += marked(['@}']) + ['']
    if by_name:
        sys.exit(f'docs: slots that tav.h does not list by task: {", ".join(by_name)}')
    return out


def structure(reader, comment, text, links, examples):
    name = re.search(r'struct (\w+)', reader.take()).group(1)
    is_table = name == 'TavEntryTable'
    example = [] if is_table else examples.of(name)
    out = marked(described(comment, 0, links) + SHOWN + example) + [f'struct {name} {{']
    if is_table:
        out += table(reader, text, links, examples)
    else:
        for each in members(reader):
            out += member(*each, links, [])
    return out + ['};', '']


def enumeration(comment, block, links):
    out = marked(described(comment, 0, links))
    for line in block:
        code, _, text = line.partition('//')
        out.append(code.rstrip() + (f' ///< {links.escape(text.strip())}' if text else ''))
    return out + ['']


def convert(text, links, examples):
    head, _, _ = text.partition('\n// The layout is the binary interface. It is checked')
    reader = Reader(re.sub(r'#ifdef TAV_BUILDING_LIBRARY.*?#endif\n', '', head, flags=re.S))
    out = overview(text, reader.comment(), links) + ['']
    comment = []
    while reader:
        comment = reader.comment() or comment
        line = reader.line()
        if not line or line.startswith(('}', 'extern')):
            reader.take()
            comment = []
        elif line.startswith('#'):
            reader.take()
            if comment and line.startswith('#define'):
                out += marked(described(comment, 0, links)) + [line, '']
                comment = []
        elif line.startswith('enum {'):
            out += enumeration(comment, reader.block(), links)
            comment = []
        elif line.startswith('typedef struct TavComponent_s'):
            reader.take()
        elif line.startswith(('struct ', 'typedef struct TavEntryTable')):
            out += structure(reader, comment, text, links, examples)
            comment = []
        else:
            out += marked(described(comment, 0, links)) + [signature(reader.declaration()), '']
            comment = []
    return '\n'.join(out)

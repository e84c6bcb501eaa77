"""The comments of the public headers as text for Doxygen."""
import html
import re

WIDTH = 100  # of a line of the headers
BEGINS_PARAGRAPH = re.compile(
    r'Errors[:,]|Logs [A-Z]|Not running:|While running:|Before Initialize:')
SPECIAL = re.compile(r'[\\@<>&#%]')
# A code span, or a quoted log message.
CODE = re.compile(r'(`[^`]*`|"[\w<](?:[^"]*: |[^"]*[%<\\])[^"]*")')


def code_span(text):
    """Code as HTML, because Doxygen takes some characters for its own. docs.sh removes the blank
    that Doxygen puts before the mark.
    """
    text = html.escape(text, quote=False).replace('|', '&#124;')
    return f'\\htmlonly<code class="span">{text}</code>\\endhtmlonly'


class Links:
    """Names in comments that lead to a slot's description."""

    def __init__(self, slots):
        self._name = re.compile(r'(?<![\w:.])(%s)(?![\w(])' % '|'.join(sorted(slots)))

    def escape(self, text, own=None):
        """Text without commands or markup. `own` is the member described, which is not linked."""
        def link(match):
            name = match.group(1)
            return name if name == own else f'\\ref TavEntryTable::{name} "{name}"'

        parts = CODE.split(text)
        for i in range(0, len(parts), 2):
            parts[i] = self._name.sub(link, SPECIAL.sub(r'\\\g<0>', parts[i]))
        for i in range(1, len(parts), 2):
            parts[i] = code_span(parts[i].strip('`'))
        return ''.join(parts)


def paragraphs(lines, indent):
    """The lines of a comment, without `//`, as (kind, lines) with the kinds text, list and code.

    A line ends a paragraph if it ends a sentence and the first word of the next one would have
    fitted on it, or if the next one begins as the parts of a slot's comment do.
    """
    result = []
    for number, line in enumerate(lines):
        if not line.strip():
            result.append(('gap', []))
            continue
        inset = line.startswith('  ')
        previous = lines[number - 1] if number else ''
        if result and result[-1][0] == ('inset' if inset else 'text'):
            fits = len(previous) + indent + 4 + len(line.split()[0]) <= WIDTH
            ends = fits and previous.endswith(('.', ':', ')', '"'))
            if inset or not (ends or BEGINS_PARAGRAPH.match(line)):
                result[-1][1].append(line)
                continue
        result.append(('inset' if inset else 'text', [line]))
    return [(_kind(kind, block), block) for kind, block in result if kind != 'gap']


def _kind(kind, block):
    if kind == 'inset':
        return 'code' if any(line.rstrip().endswith((';', '{')) for line in block) else 'list'
    return kind


def items(block):
    """The items of an inset list. Lines that are inset deeper continue one."""
    base = len(block[0]) - len(block[0].lstrip())
    result = []
    for line in block:
        if len(line) - len(line.lstrip()) > base and result:
            result[-1] += ' ' + line.strip()
        else:
            result.append(line.strip())
    return result


def item_text(item, links):
    """`name   meaning` gets a code font for the name."""
    name, gap, meaning = item.partition('  ')
    if not gap:
        return links.escape(item)
    name = code_span(name) if re.fullmatch(r'[\w.]+', name) else links.escape(name)
    return f'{name}: {links.escape(meaning.strip())}'


def body(blocks, links, own=None):
    """Lines of a Doxygen comment."""
    out = []
    for kind, block in blocks:
        if kind == 'code':
            out += ['\\code{.cpp}'] + [line[2:] for line in block] + ['\\endcode']
        elif kind == 'list':
            out += [f'- {item_text(item, links)}' for item in items(block)]
        else:
            out.append(links.escape(' '.join(line.strip() for line in block), own))
        out.append('')
    return out


def first_sentence(text):
    match = re.match(r'(.+?\.)(?:\s+|$)(.*)', text, re.S)
    return (match.group(1), match.group(2)) if match else (text, '')


def described(lines, indent, links, own=None, label=()):
    """A comment with a brief description, which the lines `label` follow."""
    return described_blocks(paragraphs(lines, indent), links, own, label)


def described_blocks(blocks, links, own=None, label=()):
    if not blocks or blocks[0][0] != 'text':
        return [*label, *body(blocks, links, own)]
    brief, rest = first_sentence(' '.join(line.strip() for line in blocks[0][1]))
    out = [f'\\brief {links.escape(brief, own)}', '', *label]
    if rest:
        out += [links.escape(rest, own), '']
    return out + body(blocks[1:], links, own)


def marked(lines):
    return [f'/// {line}'.rstrip() for line in lines]

"""Takes a header apart: comments, declarations, blocks. Relies on the layout of .clang-format."""
import re


class Reader:
    def __init__(self, text):
        self._lines = text.splitlines()
        self._next = 0

    def __bool__(self):
        return self._next < len(self._lines)

    def line(self):
        """The next line, without its inset."""
        return self._lines[self._next].strip() if self else ''

    def take(self):
        self._next += 1
        return self._lines[self._next - 1]

    def comment(self):
        """The lines of the comment that stands here, without marks; empty if there is none."""
        lines = []
        while self.line().startswith('//'):
            lines.append(re.sub(r'^\s*// ?', '', self.take()))
        return lines

    def declaration(self):
        """To the line that ends it, with the body that it may have, as one line."""
        text = ''
        while self:
            text += re.sub(r'\s*//.*', '', self.take()).strip() + ' '
            if _is_balanced(text) and text.endswith(('; ', '} ')):
                break
        return text.strip()

    def block(self):
        """The lines to the brace that closes the one opened here."""
        lines = [self.take()]
        while not _is_balanced(' '.join(lines)):
            lines.append(self.take())
        return lines


def _is_balanced(text):
    return text.count('(') == text.count(')') and text.count('{') == text.count('}')


def signature(text):
    """A declaration without body, initialisers, calling convention and constraints."""
    text = text.replace('TAV_CALL* ', '*').replace('[[nodiscard]] ', '')
    text = text.replace('typename Number, Internal::IfNumber<Number> = 0>', 'typename Number>')
    depth = 0
    for i, letter in enumerate(text):
        depth += (letter == '(') - (letter == ')')
        if depth == 0 and (letter == '{' or text[i:i + 3] == ' : '):
            return text[:i].strip() + ';'
    return text


def name_of(text):
    """The name that a declaration declares."""
    text = re.sub(r'^template <.*?> ', '', signature(text))
    pointer = re.search(r'\(\*(\w+)\)', text)
    if pointer:
        return pointer.group(1)
    function = re.search(r'(operator \w+|operator=|~?\w+)\s*\(', text)
    if function:
        return function.group(1)
    return re.search(r'(\w+)\s*(=.*)?;$', text).group(1)

"""tav.hpp for Doxygen."""
import re
import sys

from comments import body, described, marked
from header_reader import Reader, name_of, signature


def forwarded(declaration):
    """The slot or operation that the body of a member function calls."""
    text = declaration.partition('{')[2].replace('table_->', 'TavEntryTable::')
    match = re.search(r'\b(TavEntryTable|TavComponent_s)::(\w+)', text)
    return f'{match.group(1)}::{match.group(2)}' if match else None


class ClassWriter:
    """The public members of a class."""

    def __init__(self, name, links):
        self._name = name
        self._links = links
        self._comments = {}  # of overloads and of fields: holds for those after it
        self._group = False
        self.out = []

    def write(self, reader):
        while not reader.line().startswith('};'):
            if reader.line().startswith(('private:', 'protected:')):
                self._skip_hidden(reader)
            elif not reader.line() or reader.line().startswith('#'):
                reader.take()
            elif reader.line() == 'public:':
                self.out.append(reader.take())
            else:
                self._member(reader)
        reader.take()
        self._end_group()
        self.out += ['};', '']

    def _skip_hidden(self, reader):
        while not reader.line().startswith(('};', 'public:')):
            reader.block()

    def _member(self, reader):
        comment = reader.comment()
        if comment and not reader.line():
            self._begin_group(comment)
            return
        declaration = reader.declaration()
        if 'IfAmbiguous' in declaration:
            return
        name = name_of(declaration)
        overloads = name if '(' in declaration else 'fields'
        comment = comment or self._comments.get(overloads, [])
        self._comments[overloads] = comment
        text = described(comment, 2, self._links)
        slot = forwarded(declaration)
        if slot:
            text += [f'{"Calls" if comment else "@brief Calls"} \\ref {slot}.', '']
        elif not comment:
            text = self._standard(name, declaration)
        self.out += marked(text) + [signature(declaration), '']

    def _standard(self, name, declaration):
        if name == self._name and '= default' in declaration:
            return ['@brief Makes an empty object.']
        if name == 'operator bool':
            return ['@brief Whether the object is not empty.']
        if name == 'operator=':
            return ['@brief Moves, as the constructor does.']
        sys.exit(f'docs: tav.hpp has no comment for {self._name}::{name}')

    def _begin_group(self, comment):
        self._end_group()
        title, _, rest = ' '.join(comment).partition('. ')
        self.out += marked([f'@name {title.rstrip(".")}', self._links.escape(rest), '@{']) + ['']
        self._group = True

    def _end_group(self):
        if self._group:
            self.out += marked(['@}']) + ['']
            self._group = False


def convert(text, links, examples):
    reader = Reader(text)
    comment = reader.comment()
    out = marked(['\\file', *described(comment, 0, links)]) + ['']
    out += marked(body([('text', ['RAII wrappers around the table of tav.h.'])], links))
    while reader:
        comment = reader.comment()
        line = reader.line()
        if not line or line.startswith(('#', '}')):
            reader.take()
        elif line.startswith('namespace Internal'):
            reader.block()
        elif line.startswith('namespace'):
            out += [reader.take(), '']
        elif line.startswith(('class', 'struct')):
            head = reader.take().replace('[[nodiscard]] ', '')
            name = head.split()[1]
            out += marked(described(comment, 0, links) + examples.of(name)) + [head]
            writer = ClassWriter(name, links)
            writer.write(reader)
            out += writer.out
        else:
            out += marked(described(comment, 0, links)) + [signature(reader.declaration()), '']
    return '\n'.join(out + ['}', ''])

"""Usage: pages.py ROOT INPUT HTML

Writes the Markdown pages of the folder ROOT to INPUT in the form that Doxygen understands: with the
names for headings that web views of repositories give, and with links to the pages of the site.
Copies pictures, and files that pages link to, to HTML. Fails if a link leads nowhere in the
repository or out of the site's pages.
"""
import html
import pathlib
import re
import shutil
import sys

from comments import code_span

TOP = ['README.md', 'ARCHITECTURE.md', 'CONTRIBUTING.md', 'CHANGELOG.md', 'SECURITY.md']
HEADERS = {'include/tav/tav.h': 'tav_8h.html', 'include/tav/tav.hpp': 'tav_8hpp.html'}

HEADING = re.compile(r'^(#+) (.*)$', re.M)
IMAGE = re.compile(r'!\[([^\]]*)\]\(([^)\s]+)\)')
INSET = re.compile(r'(    .*\n?)+')
SPAN = re.compile(r'(?<!`)(\[?)`([^`]+)`(?![`\w])')
BOLD = re.compile(r'\*\*([^*]+)\*\*')
LINK = re.compile(r'(?<=\]\()([^)\s]+)(?=\))')


def slug(heading):
    """The name that a web view gives a heading."""
    text = re.sub(r'\[([^\]]*)\]\([^)]*\)', r'\1', heading).lower()
    return re.sub(r'[^\w\- ]', '', text).replace(' ', '-')


def prose(text):
    """(is prose, part) for the parts of a page: fenced blocks are not, nor are inset ones."""
    parts = re.split(r'(^```.*?^```$)', text, flags=re.M | re.S)
    return [(i % 2 == 0, part) for i, part in enumerate(parts)]


def headings(text):
    """(level, heading, name) of a page; a second heading of the same name gets a number."""
    result = []
    seen = {}
    for is_prose, part in prose(text):
        for level, heading in HEADING.findall(part) if is_prose else []:
            name = slug(heading)
            seen[name] = seen.get(name, 0) + 1
            result.append((level, heading, name if seen[name] == 1 else f'{name}-{seen[name] - 1}'))
    return result


def page_name(path):
    return 'index' if path.name == 'README.md' else path.stem.lower()


class Site:
    def __init__(self, root, slots, output):
        self._root = root
        self._output = output
        self._slots = slots
        self._paths = [root / name for name in TOP] + sorted((root / 'docs').glob('*.md'))
        self._names = {path: {name for _, _, name in headings(path.read_text())}
                       for path in self._paths}
        self._complaints = []

    def convert_all(self, target):
        for path in self._paths:
            (target / path.name).write_text(self._converted(path))
        shutil.copytree(self._root / 'docs/pictures', self._output / 'pictures')
        if self._complaints:
            sys.exit('\n'.join(self._complaints))

    def _converted(self, path):
        text = path.read_text()
        names = iter(headings(text))
        parts = [self._prose(path, part, names) if is_prose else part
                 for is_prose, part in prose(text)]
        return ''.join(parts)

    def _prose(self, path, text, names):
        text = HEADING.sub(lambda _: self._heading(path, *next(names)), text)
        text = IMAGE.sub(lambda match: self._image(path, *match.groups()), text)
        text = LINK.sub(lambda match: self._target(path, match.group(1)), text)
        blocks = re.split(r'(\n\s*?\n)', text)
        return ''.join(block if INSET.fullmatch(block) else self._spans(block) for block in blocks)

    def _heading(self, path, level, heading, name):
        # Doxygen shows the code font of a heading as text.
        text = heading.replace('`', '')
        if level == '#':
            name = 'mainpage' if page_name(path) == 'index' else page_name(path)
            return f'# {text} {{#{name}}}'
        return f'{level} {text} {{#{page_name(path)}-{name}}}'

    def _image(self, path, text, target):
        self._resolved(path, target)
        name = target.rpartition('/')[2]
        return f'<img src="pictures/{name}" alt="{html.escape(" ".join(text.split()))}"/>'

    def _spans(self, block):
        """Code spans as HTML. The name of a slot leads to its description."""
        def span(match):
            code = ' '.join(match.group(2).split())
            if match.group(1):  # the text of a link
                return '[' + code_span(code)
            if code in self._slots:
                return f'<code>\\ref TavEntryTable::{code} "{code}"</code>'
            return code_span(code.replace('\\|', '|'))

        return SPAN.sub(span, BOLD.sub(r'<b>\1</b>', block))

    def _resolved(self, path, target):
        file = (path.parent / target).resolve()
        if not file.is_file():
            self._complaints.append(f'{path}: a link leads nowhere or to a folder: {target}')
        return file

    def _target(self, path, target):
        if ':' in target:
            return target
        file, _, name = target.partition('#')
        linked = self._resolved(path, file) if file else path
        if linked in self._names:
            if name and name not in self._names[linked]:
                self._complaints.append(f'{path}: no heading of this name: {target}')
            page = page_name(linked)
            return f'{page}.html' + (f'#{page}-{name}' if name else '')
        return self._file(linked)

    def _file(self, file):
        """A file of the repository: the reference of a header, or a copy."""
        name = str(file.relative_to(self._root))
        if name in HEADERS:
            return HEADERS[name]
        copy = self._output / 'files' / (name + '.txt')
        copy.parent.mkdir(parents=True, exist_ok=True)
        if file.is_file():
            shutil.copyfile(file, copy)
        return f'files/{name}.txt'


def main():
    root, target, output = (pathlib.Path(name).resolve() for name in sys.argv[1:])
    table = (root / 'include/tav/tav.h').read_text()
    slots = set(re.findall(r'\(TAV_CALL\* (\w+)\)', table.partition('TavEntryTable {')[2]))
    target.mkdir(parents=True, exist_ok=True)
    output.mkdir(parents=True, exist_ok=True)
    Site(root, slots, output).convert_all(target)


main()

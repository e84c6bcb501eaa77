"""The examples in docs/snippets. A mark stands before an example and after it."""
import re
import sys


def snippet_files(folder):
    """The file of each example by its name. A mark stands before it and after it."""
    files = {}
    for path in sorted(folder.glob('*.c*')):
        marks = re.findall(r'\[(\w+)\]', '\n'.join(re.findall(r'//!(.*)', path.read_text())))
        for name in sorted(set(marks)):
            if marks.count(name) != 2 or name in files:
                sys.exit(f'docs: {path}: the mark [{name}] does not stand there twice')
            files[name] = path.name
    return files


class Examples:
    def __init__(self, folder):
        self._files = snippet_files(folder)
        self._used = set()

    def of(self, name):
        if name not in self._files:
            sys.exit(f'docs: no example of {name} in docs/snippets')
        self._used.add(name)
        return ['\\par Example', f'\\snippet {self._files[name]} {name}', '']

    def check_all_used(self):
        unused = sorted(set(self._files) - self._used)
        if unused:
            sys.exit(f'docs: examples in docs/snippets of nothing: {", ".join(unused)}')

"""Usage: links.py HTML

Checks the site in the folder HTML: every local link has a target, nothing is loaded from another
host, and the navigation leads to every page of text.
"""
import html.parser
import pathlib
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.names = set()
        self.links = []
        self.loaded = []
        self.navigation = set()
        self._in_navigation = False
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.names.update(values[key] for key in ('id', 'name') if key in values)
        self._in_navigation = tag == 'nav' or self._in_navigation
        if tag == 'a' and 'href' in values:
            self.links.append(values['href'])
            if self._in_navigation:
                self.navigation.add(values['href'])
        elif 'src' in values:
            self.loaded.append(values['src'])
        elif tag == 'link':
            self.loaded.append(values['href'])

    def handle_endtag(self, tag):
        self._in_navigation = self._in_navigation and tag != 'nav'


def main():
    folder = pathlib.Path(sys.argv[1])
    pages = {path.name: Page(path.read_text()) for path in folder.glob('*.html')}
    complaints = []
    for name, page in pages.items():
        for link in page.links + page.loaded:
            address = urllib.parse.urlsplit(link)
            if address.scheme or address.netloc:
                if link in page.loaded:
                    complaints.append(f'{name} loads {link}')
                continue
            file = urllib.parse.unquote(address.path) or name
            if not (folder / file).is_file():
                complaints.append(f'{name}: no file {link}')
            elif address.fragment and file in pages and \
                    urllib.parse.unquote(address.fragment) not in pages[file].names:
                complaints.append(f'{name}: no target {link}')
    for path in sorted((folder.parent / 'input').glob('*.md')):
        name = 'index.html' if path.name == 'README.md' else path.stem.lower() + '.html'
        if name not in pages['index.html'].navigation:
            complaints.append(f'the navigation does not lead to {name}')
    if complaints:
        sys.exit('\n'.join(f'docs: {line}' for line in sorted(set(complaints))))
    print(f'   {len(pages)} pages, all links lead somewhere')


main()

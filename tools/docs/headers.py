"""Usage: headers.py HEADERS SNIPPETS OUTPUT

Writes copies of tav.h and tav.hpp from which Doxygen can make the reference: comments with its
marks, declarations without bodies, private parts and conditions, the slots in the order of the
tasks in the first comment of tav.h, each with its example from the folder SNIPPETS. Fails if a slot
or a class has no example, an example belongs to nothing, or a public name has no comment.
"""
import pathlib
import sys

import c_header
import comments
import cpp_header
import snippets


def main():
    headers, folder, output = map(pathlib.Path, sys.argv[1:])
    examples = snippets.Examples(folder)
    text = (headers / 'tav.h').read_text()
    links = comments.Links(c_header.slots(text))
    output.mkdir(parents=True, exist_ok=True)
    (output / 'tav.h').write_text(c_header.convert(text, links, examples))
    (output / 'tav.hpp').write_text(
        cpp_header.convert((headers / 'tav.hpp').read_text(), links, examples))
    examples.check_all_used()


main()

#!/usr/bin/env bash
# Usage: docs.sh
# Makes the reference site build/docs/html of the public headers, the examples in docs/snippets and
# the Markdown pages. Fails on any warning of Doxygen, on a slot without an example and on a link
# without a target.
set -euo pipefail
cd "$(dirname "$0")/../.."
export PYTHONDONTWRITEBYTECODE=1

rm -rf build/docs
mkdir -p build/docs
python3 tools/docs/headers.py include/tav docs/snippets build/docs/input/tav
python3 tools/docs/pages.py . build/docs/input build/docs/html
doxygen tools/docs/Doxyfile

# Plainer headings; no script, and no index that the navigation takes the place of.
cd build/docs/html
sed -i -e 's/ <code class="span">/<code>/g' -e 's/Public Attributes/Members/' \
  -e 's/Public Member Functions/Functions/' \
  -e 's/Member \(Data\|Function\) Documentation/Descriptions/' \
  -e '/<div id="nav-path"/,/<\/div>/d' -e 's/<img src="closed.png"[^>]*>&#160;//' \
  -e 's/ onclick="[^"]*"//g' ./*.html
rm -f annotated.html classes.html files.html hierarchy.html pages.html dir_*.html functions_*.html \
  globals*.html namespacemembers*.html ./*.js ./*.png doxygen.svg tabs.css
cd - >/dev/null
python3 tools/docs/links.py build/docs/html

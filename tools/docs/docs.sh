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
sed -i -e 's/ <code class="span">/<code>/g' -e 's/Public Attributes/Members/' \
  -e 's/Public Member Functions/Functions/' -e 's/Member \(Data\|Function\) Documentation/Descriptions/' \
  build/docs/html/*.html
python3 tools/docs/links.py build/docs/html

#!/usr/bin/env bash
# Usage: layout.sh RELEASE VERSION FOLDER
# Lays out the NuGet package of an unpacked release in the new folder FOLDER: its files and the two
# parts of the Open Packaging Conventions that say what they are. Checks the XML.
set -euo pipefail
release=${1:?usage: layout.sh RELEASE VERSION FOLDER}
version=${2:?usage: layout.sh RELEASE VERSION FOLDER}
folder=${3:?usage: layout.sh RELEASE VERSION FOLDER}
here=$(cd "$(dirname "$0")" && pwd)

mkdir -p "$folder"/{_rels,build/native,runtimes/win-x64/native}
sed "s/@VERSION@/$version/" "$here/tav.nuspec" >"$folder/tav.nuspec"
cp "$here/readme.md" "$folder/README.md"
cp "$here/build/native/tav.targets" "$folder/build/native/"
cp -R "$release/include" "$folder/build/native/"
cp "$release/bin/tav.dll" "$folder/runtimes/win-x64/native/"
cp -R "$release/symbols" "$release/CHANGELOG.md" "$release/NOTICES.md" "$folder/"
cp "$release/LICENSE" "$folder/LICENSE.txt"

cat >"$folder/_rels/.rels" <<'XML'
<?xml version="1.0" encoding="utf-8"?>
<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">
  <Relationship Id="R1" Type="http://schemas.microsoft.com/packaging/2010/07/manifest" Target="/tav.nuspec"/>
</Relationships>
XML

# Every part needs a type, by its extension.
{
  echo '<?xml version="1.0" encoding="utf-8"?>'
  echo '<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">'
  echo '  <Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
  find "$folder" -type f -name '*.*' ! -name .rels | sed 's/.*\.//' | LC_ALL=C sort -u |
    sed 's|.*|  <Default Extension="&" ContentType="application/octet"/>|'
  echo '</Types>'
} >"$folder/[Content_Types].xml"

xmllint --noout --schema "$here/nuspec.xsd" "$folder/tav.nuspec" 2>&1 | grep -v ' validates$' && exit 1
xmllint --noout "$folder/[Content_Types].xml" "$folder/_rels/.rels" "$folder/build/native/tav.targets"

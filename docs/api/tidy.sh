#!/bin/sh
# Removes from Doxygen's pages in the folder $1: scripts that no page uses, pages that no other page links
# to, and links to nested classes where all of them are private and left out.
set -eu
cd "$1"
rm -f -- *.js annotated.html dir_*.html
grep -L 'name="nested-classes"' -- *.html |
    xargs sed -i 's!<a href="#nested-classes">Classes</a> &#124;!!'

# Prints a page of prose with the links that the API pages need. Headings get the names that a code forge
# gives them, behind that of their page, and links lead there. A link to a file that is on no page leaves its
# text.

function base(path) {
    sub(/.*\//, "", path)
    return path
}

function page_of(path) {
    if (path ~ /examples\/README\.md$/) return "page_examples"
    path = tolower(base(path))
    sub(/\.md$/, "", path)
    return "page_" path
}

function slug_of(heading) {
    heading = tolower(heading)
    gsub(/[^a-z0-9 _-]/, "", heading)
    gsub(/[ -]/, "_", heading)
    return heading
}

function target_of(link,    anchor, path) {
    if (link ~ /^[a-z]+:/) return link
    path = link
    anchor = ""
    if (match(link, /#/)) {
        path = substr(link, 1, RSTART - 1)
        anchor = substr(link, RSTART + 1)
        gsub(/-/, "_", anchor)
    }
    if (path == "") return "@ref " page "_" anchor
    if (path ~ /CONTRIBUTING\.md$/) return ""
    if (path ~ /\.md$/) return "@ref " page_of(path) (anchor == "" ? "" : "_" anchor)
    if (path ~ /(^|\/)examples\// || page == "page_examples") {
        sub(/.*examples\//, "", path)
        if (path ~ /\.cpp$/) {
            gsub(/_/, "__", path)
            gsub(/\//, "_2", path)
            gsub(/\./, "_8", path)
            return path "-example.html"
        }
        return page == "page_examples" ? "" : "@ref page_examples"
    }
    # A class has its name from its header.
    if (path ~ /(^|\/)auth\/.*\.h$/) return "@ref auth::" substr(base(path), 1, length(base(path)) - 2)
    return ""
}

FNR == 1 { page = page_of(FILENAME) }

/^```/ { is_code = !is_code }

!is_code && /^#+ / {
    match($0, /^#+ /)
    depth = RLENGTH - 1
    if (page == "page_readme" && depth == 1) $0 = "# Read me first"
    name = depth == 1 ? page : page "_" slug_of(substr($0, RLENGTH + 1))
    print $0 " {#" name (seen[name] ? "_" seen[name] : "") "}"
    ++seen[name]
    next
}

!is_code {
    # An address, and no name in C++.
    while (match($0, /`[^`]*[^\\]::ffff[^`]*`/)) {
        code = substr($0, RSTART + 1, RLENGTH - 2)
        sub(/::/, "\\::", code)
        $0 = substr($0, 1, RSTART - 1) "<code>" code "</code>" substr($0, RSTART + RLENGTH)
    }
    rest = $0
    line = ""
    while (match(rest, /\[[^]]*\]\([^) ]*\)/)) {
        link = substr(rest, RSTART, RLENGTH)
        line = line substr(rest, 1, RSTART - 1)
        rest = substr(rest, RSTART + RLENGTH)
        middle = index(link, "](")
        text = substr(link, 2, middle - 2)
        target = target_of(substr(link, middle + 2, length(link) - middle - 2))
        if (target ~ /^@ref/) gsub(/`/, "", text)
        line = line (target == "" ? text : "[" text "](" target ")")
    }
    print line rest
    next
}

{ print }

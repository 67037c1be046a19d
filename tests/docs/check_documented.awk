# Reports what a header declares without a comment: one that ends on the line before, or `/**<` on the
# declaration's last line. usage: awk -f tests/docs/check_documented.awk HEADER...
#
# It knows the form that ./dev format gives headers. A macro that stamps declarations (it has a ##) is
# looked into; where one is used there is nothing to say.

function complain(what)
{
    printf "%s:%d: not documented: %s\n", FILENAME, FNR, what
    undocumented++
}

# A name has been declared, and so far nothing was said of it.
function declared(what)
{
    names++
    if (!has_comment && line !~ /\/\*\*</)
        complain(what)
    has_comment = 0
}

function begin_file()
{
    depth = function_depth = in_enum = in_macro = stamps = in_text = has_comment = 0
    statement = ""
    if (line !~ /^\/\*\*/)
        complain("the file")
}

# The line without its comments; a comment that goes on over lines is remembered.
function without_comments(text,    start, end, is_documentation)
{
    while ((start = index(text, "/*")) > 0) {
        is_documentation = substr(text, start, 3) == "/**" && substr(text, start, 4) != "/**<"
        end = index(substr(text, start), "*/")
        if (end == 0) {
            in_text = 1
            text_is_documentation = is_documentation
            return substr(text, 1, start - 1)
        }
        if (is_documentation)
            has_comment = 1
        text = substr(text, 1, start - 1) substr(text, start + end + 1)
    }
    return text
}

function is_stamped(text) { return text ~ /^[A-Z][A-Z_0-9]*\(.*\);?$/ }

function end_statement()
{
    if (statement ~ /^typedef struct [A-Za-z_0-9]+ [A-Za-z_0-9]+;$/) {
        split(statement, word, /[ ;]/)
        if (!((FILENAME, word[3]) in is_defined))
            declared(statement)
    } else if (statement !~ /^struct [A-Za-z_0-9]+;$/ && !is_stamped(statement))
        declared(statement)
    statement = ""
    has_comment = 0
}

function read_code(code)
{
    if (function_depth > 0) {
        if (code == "}")
            function_depth = 0
        return
    }
    if (code == "{") {
        if (statement ~ /\)$/ || statement ~ /^static inline/)
            function_depth = 1
        if (statement ~ /^struct /) {
            split(statement, word, " ")
            is_defined[FILENAME, word[2]] = 1
        }
        declared(statement)
        depth += !function_depth
        statement = ""
        return
    }
    if (code ~ /^}/) {
        depth--
        in_enum = 0
        statement = has_comment = ""
        return
    }
    if (code ~ /^(typedef )?enum \{/) {
        declared(code)
        if (code !~ /\}/) {
            in_enum = 1
            depth++
        }
        return
    }
    statement = statement (statement == "" ? "" : " ") code
    if (in_enum || code ~ /;$/ || is_stamped(statement))
        end_statement()
}

{
    line = $0
    if (FNR == 1)
        begin_file()
    continues = sub(/[ \t]*\\$/, "", line)
    sub(/^[ \t]+/, "", line)
}

in_text {
    if (!match(line, /\*\//)) next
    in_text = 0
    has_comment = text_is_documentation
    if (FNR > 1 && statement == "" && substr(line, RSTART + 2) ~ /^[ \t]*$/) next
    line = substr(line, RSTART + 2)
}

/^[ \t]*#[ \t]*define/ && !in_macro {
    name = $2
    sub(/\(.*/, "", name)
    in_macro = continues
    stamps = name ~ /^(MSG|MEMBER|FIELD)$/
    if (!stamps && name !~ /_H$/ && !((FILENAME, name) in is_defined))
        declared(name)
    is_defined[FILENAME, name] = 1
    if (!continues && line ~ /\/\*/)
        without_comments(line) # it may go on
    has_comment = statement = ""
    next
}

{
    code = without_comments(line)
    sub(/[ \t]+$/, "", code)
}

in_macro {
    if (code ~ /##|struct SEQUENCE/)
        stamps = 1
    if (stamps && code != "" && !in_text)
        read_code(code (continues || code ~ /;$/ ? "" : ";"))
    in_macro = continues
    if (!in_macro)
        has_comment = statement = ""
    next
}

in_text && code == "" { next }
line == "" || code ~ /^#/ { has_comment = 0; next }
code == "" || code ~ /^ZOV_(BEGIN|END)_DECLARATIONS$/ || code ~ /^extern "C"/ { next }
{ read_code(code) }

END {
    printf "%d names, %d without a comment\n", names, undocumented
    exit undocumented > 0
}

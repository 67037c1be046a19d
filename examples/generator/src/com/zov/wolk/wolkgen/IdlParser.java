package com.zov.wolk.wolkgen;

import static java.util.Map.entry;

import java.util.*;
import java.util.regex.*;

/** Reads one IDL file from front to back and writes down in C++ what it declares. */
final class IdlParser {
    private static final String NAME = "[A-Za-z_]\\w*";
    private static final String END = "end of file";
    private static final int COMMENT = 1; // the groups of a token, behind its blanks
    private static final int TEXT = 2;
    private static final Pattern TOKEN = Pattern.compile(
        "\\s*+(?:(//[^\\n]*|/\\*(?s:.*?)\\*/)|("
        + "(?:long\\s+double|(?:unsigned\\s+)?(?:short|long(?:\\s+long)?))\\b" // one type
        + "|(?:::)?" + NAME + "(?:::" + NAME + ")*|\\d\\w*|/\\*|(?s:.)|\\z))");
    private static final Pattern WHOLE_NAME = Pattern.compile(NAME);
    private static final Pattern NUMBER = Pattern.compile("[1-9]\\d{0,8}");
    private static final Pattern BLANKS = Pattern.compile("\\s+");
    private static final Map<String, String> PRIMITIVES = Map.ofEntries(
        entry("short", "std::int16_t"), entry("unsigned short", "std::uint16_t"),
        entry("long", "std::int32_t"), entry("unsigned long", "std::uint32_t"),
        entry("long long", "std::int64_t"), entry("unsigned long long", "std::uint64_t"),
        entry("float", "float"), entry("double", "double"), entry("long double", "long double"),
        entry("char", "char"), entry("wchar", "wchar_t"), entry("boolean", "bool"),
        entry("octet", "std::uint8_t"));

    final Map<String, String> types = new LinkedHashMap<>(); // finished ones: "::a::B" to "struct"
    private final Set<String> names = new HashSet<>(); // of all that must not be declared twice
    private final StringBuilder body = new StringBuilder();
    private final String source;
    private final Matcher matcher;
    private String token;
    private String scope = "::"; // "::a::" in module a

    IdlParser(String source) {
        this.source = source;
        this.matcher = TOKEN.matcher(source);
    }

    /** Returns the C++ text. The message of an exception starts with the line and the column. */
    String parse() {
        for (advance(); !token.equals(END);) {
            definition();
        }
        return body.toString().strip();
    }

    private void definition() {
        if (accept("module")) {
            String outer = scope;
            String name = take(WHOLE_NAME, "a name");
            scope += name + "::";
            body.append("\nnamespace " + name + " {\n");
            for (expect("{"); !accept("}");) {
                definition();
            }
            body.append("\n} // namespace " + name + "\n");
            scope = outer;
        } else if (accept("struct")) {
            struct();
        } else if (accept("enum")) {
            enumeration();
        } else {
            throw unexpected("module, struct or enum");
        }
        expect(";");
    }

    private void struct() {
        String name = declare(scope);
        body.append("\nstruct " + name + " {\n");
        for (expect("{"); !accept("}"); expect(";")) {
            String type = type();
            String member = declare(scope + name + "::");
            body.append("    " + dimensions(type) + " " + member + "{};\n");
        }
        body.append("};\n");
        types.put(scope + name, "struct"); // only now: no member can be of this type
    }

    private void enumeration() {
        String name = declare(scope);
        body.append("\nenum class " + name + " : std::int32_t {\n");
        expect("{");
        do {
            body.append("    " + declare(scope + name + "::") + ",\n");
        } while (accept(","));
        expect("}");
        body.append("};\n");
        types.put(scope + name, "enum");
    }

    private String declare(String scope) {
        if (!names.add(scope + token)) {
            throw error("'" + token + "' is already declared");
        }
        return take(WHOLE_NAME, "a name");
    }

    private String type() {
        String words = BLANKS.matcher(token).replaceAll(" ");
        if (PRIMITIVES.containsKey(words)) {
            advance();
            return PRIMITIVES.get(words);
        }
        if (accept("string") || accept("wstring")) {
            return "std::" + words + (accept("<") ? " /* at most " + number(">") + " */" : "");
        }
        if (accept("sequence")) {
            expect("<");
            String vector = "std::vector<" + type() + ">";
            if (accept(",")) {
                return vector + " /* at most " + number(">") + " */";
            }
            expect(">");
            return vector;
        }
        String from = scope; // a name is looked up from the innermost scope outwards
        while (!types.containsKey(from + words)) {
            if (from.isEmpty()) {
                throw error("unknown type '" + words + "'");
            }
            from = from.substring(0, from.lastIndexOf(':', from.length() - 3) + 1);
        }
        advance();
        return from + words;
    }

    private String dimensions(String element) {
        if (!accept("[")) {
            return element;
        }
        String size = number("]");
        return "std::array<" + dimensions(element) + ", " + size + ">";
    }

    private String number(String closing) {
        String number = take(NUMBER, "a number from 1 to 999999999");
        expect(closing);
        return number;
    }

    private void expect(String expected) {
        if (!accept(expected)) {
            throw unexpected("'" + expected + "'");
        }
    }

    private String take(Pattern pattern, String description) {
        if (!pattern.matcher(token).matches()) {
            throw unexpected(description);
        }
        String taken = token;
        advance();
        return taken;
    }

    private boolean accept(String expected) {
        boolean found = token.equals(expected);
        if (found) {
            advance();
        }
        return found;
    }

    private void advance() {
        do {
            matcher.find(); // cannot fail: any character is a token, and so is the end
        } while (matcher.start(COMMENT) >= 0);
        token = matcher.group(TEXT).isEmpty() ? END : matcher.group(TEXT);
    }

    private RuntimeException unexpected(String expected) {
        return error("expected " + expected + ", found '" + token + "'");
    }

    private RuntimeException error(String message) {
        String[] lines = source.substring(0, matcher.start(TEXT)).split("\n", -1);
        int column = lines[lines.length - 1].length() + 1;
        return new IllegalArgumentException(lines.length + ":" + column + ": " + message);
    }
}

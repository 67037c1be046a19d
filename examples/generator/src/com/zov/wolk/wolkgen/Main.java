package com.zov.wolk.wolkgen;

import java.io.*;
import java.nio.file.*;
import java.util.*;

/** Turns IDL files into C++ headers: once from the command line, or as a server. */
public final class Main {
    public static void main(String[] args) {
        if (args.length > 0 && args[0].equals("-server")) {
            Server.run(args); // returns when idle; the program that hosts this VM then cleans up
        } else {
            System.exit(generate(Arrays.asList(args), "", System.out));
        }
    }

    /** Serves one request; relative paths start at directory. Returns 0, or 1 if a file failed. */
    static int generate(List<String> arguments, String directory, PrintStream out) {
        List<String> inputs = new ArrayList<>();
        String output = "";
        boolean verbose = false;
        for (Iterator<String> rest = arguments.iterator(); rest.hasNext();) {
            String argument = rest.next();
            if (argument.equals("-verbose")) {
                verbose = true;
            } else if (argument.equals("-d") && rest.hasNext()) {
                output = rest.next();
            } else if (argument.startsWith("-") || argument.isEmpty()) {
                return fail(out, "unknown option '" + argument + "', or its value is missing");
            } else {
                inputs.add(argument);
            }
        }
        if (inputs.isEmpty()) {
            return fail(out, "no input file; usage: [-verbose] [-d DIR] FILE.idl ...");
        }
        int code = 0;
        for (String input : inputs) {
            try {
                Path base = Path.of(directory).toAbsolutePath();
                out.print(translate(input, base, Path.of(output), verbose));
            } catch (NoSuchFileException e) {
                code = fail(out, input + ": no such file: " + e.getFile());
            } catch (IOException e) {
                code = fail(out, input + ": " + e);
            } catch (IllegalArgumentException e) {
                code = fail(out, input + ":" + e.getMessage());
            }
        }
        return code;
    }

    private static int fail(PrintStream out, String message) {
        out.print(message + "\n");
        return 1;
    }

    /** Returns the lines to print about it. */
    private static String translate(String input, Path base, Path output, boolean verbose)
            throws IOException {
        Path source = base.resolve(input);
        String name = source.getFileName().toString();
        String header = name.replaceFirst("\\.idl$", "") + ".hpp";
        String guard = header.toUpperCase(Locale.ROOT).replaceAll("[^A-Z0-9]", "_");
        Path template = Path.of(System.getProperty("WOLK_RESOURCE_DIR", ""), "header.template");
        Path target = output.resolve(header);
        IdlParser parser = new IdlParser(Files.readString(source));
        save(base.resolve(target), Files.readString(template).replace("@SOURCE@", name)
            .replace("@GUARD@", "GENERATED_" + guard).replace("@BODY@", parser.parse()));
        String summary = summary(parser.types.values());
        StringBuilder report = new StringBuilder(input + " -> " + target + " (" + summary + ")\n");
        if (verbose) {
            parser.types.forEach((type, kind) ->
                report.append("  " + kind + " " + type.substring(2) + "\n"));
        }
        return report.toString();
    }

    private static String summary(Collection<String> kinds) {
        StringJoiner text = new StringJoiner(", ").setEmptyValue("nothing declared");
        for (String kind : List.of("struct", "enum")) {
            int count = Collections.frequency(kinds, kind);
            if (count > 0) {
                text.add(count + " " + kind + (count == 1 ? "" : "s"));
            }
        }
        return text.toString();
    }

    /** The new text appears in one step, so a failure leaves an older header as it was. */
    private static void save(Path target, String text) throws IOException {
        if (!Files.isDirectory(target.getParent())) {
            Files.createDirectories(target.getParent());
        }
        Path draft = target.resolveSibling("." + target.getFileName() + "." + System.nanoTime());
        try {
            Files.writeString(draft, text);
            Files.move(draft, target, StandardCopyOption.ATOMIC_MOVE);
        } finally {
            Files.deleteIfExists(draft);
        }
    }
}

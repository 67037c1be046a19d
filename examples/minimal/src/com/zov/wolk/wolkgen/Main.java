package com.zov.wolk.wolkgen;

import java.io.*;
import java.net.*;
import java.nio.charset.StandardCharsets;
import java.nio.file.*;
import java.util.*;

/**
 * The smallest generator server that keeps the protocol of docs/protocol.md. Its one argument is a
 * name, and it writes a class: NAME.java. examples/generator shows more, such as long replies.
 */
public final class Main {
    private static final int READ_LIMIT_MS = 10_000;
    private static final int LONGEST_REQUEST = 16 * 1024; // the launcher sends no more
    /** In UTF-8 and with the closing line it fits into 8192 bytes, one receive of the launcher. */
    private static final int LONGEST_OUTPUT = 2700;

    private static int clients;
    private static long idleSince = now();

    /** The arguments are: -server -serverPort PORT -serverTimeout MILLISECONDS. */
    public static void main(String[] args) {
        int port = Integer.parseInt(args[2]) & 0xFFFF;
        int timeoutMs = Math.max(Integer.parseInt(args[4]), 1000); // our own launcher must come
        try (ServerSocket listener =
                 new ServerSocket(port, 128, InetAddress.getByName("127.0.0.1"))) {
            acceptUntilIdle(listener, timeoutMs);
        } catch (IOException e) {
            // Launchers that start at once start a server each: the one with the port serves all.
            if (!answers(port)) {
                System.out.println("generator server, port " + args[2] + ": " + e.getMessage());
            }
        }
    }

    private static boolean answers(int port) {
        try (Socket probe = new Socket("127.0.0.1", port)) {
            return probe.isConnected();
        } catch (IOException e) {
            return false;
        }
    }

    private static void acceptUntilIdle(ServerSocket listener, int timeoutMs) throws IOException {
        for (int left = timeoutMs; left > 0; left = timeoutMs - idleMs()) {
            listener.setSoTimeout(left);
            try {
                Socket client = listener.accept();
                count(1);
                Thread thread = new Thread(() -> serve(client));
                thread.setDaemon(true); // once main has returned, nothing keeps the process alive
                thread.start();
            } catch (SocketTimeoutException e) {
                // A client may be at work, or have come and gone meanwhile.
            }
        }
    }

    private static synchronized void count(int change) {
        clients += change;
        idleSince = now();
    }

    private static synchronized int idleMs() {
        return clients > 0 ? 0 : (int) (now() - idleSince);
    }

    private static long now() {
        return System.nanoTime() / 1_000_000;
    }

    private static void serve(Socket connection) {
        try (Socket client = connection) {
            client.setTcpNoDelay(true);
            String output;
            int code = 0;
            try {
                output = answer(readToNul(client).split("\n", -1));
            } catch (Throwable e) { // the launcher waits for its closing line, come what may
                output = "failed: " + e;
                code = 1;
            }
            String shown = output.substring(0, Math.min(output.length(), LONGEST_OUTPUT));
            String reply = shown + "\nCode generator returned " + code + "\n";
            client.getOutputStream().write(reply.getBytes(StandardCharsets.UTF_8)); // one write
        } catch (IOException e) {
            // The launcher has left: nobody is there to be told.
        } finally {
            count(-1);
        }
    }

    /** Reads past a message that is too long: closing on unread bytes would discard the reply. */
    private static String readToNul(Socket client) throws IOException {
        InputStream in = new BufferedInputStream(client.getInputStream());
        ByteArrayOutputStream text = new ByteArrayOutputStream();
        long end = now() + READ_LIMIT_MS;
        int next = 1;
        for (long left = READ_LIMIT_MS; left > 0 && next > 0; left = end - now()) {
            client.setSoTimeout((int) left);
            next = in.read();
            if (next > 0 && text.size() < LONGEST_REQUEST) {
                text.write(next);
            }
        }
        if (next != 0 || text.size() == LONGEST_REQUEST) { // with the NUL it would be longer
            throw new IOException("no NUL in time, or more than " + LONGEST_REQUEST + " bytes");
        }
        return text.toString(StandardCharsets.UTF_8);
    }

    /** The lines are: the arguments, -workingDirectory, the directory, and two empty ones. */
    private static String answer(String[] lines) throws IOException {
        int end = lines.length - 4;
        if (end < 0 || !lines[end].equals("-workingDirectory")) {
            throw new IOException("the request does not end in a working directory");
        }
        return generate(Arrays.asList(lines).subList(0, end), Path.of(lines[end + 1]));
    }

    /** The generator itself. What it returns goes to the console; its directory is not ours. */
    private static String generate(List<String> arguments, Path directory) throws IOException {
        if (arguments.size() != 1 || !arguments.get(0).matches("[A-Za-z_]\\w*")) {
            throw new IllegalArgumentException("one name is expected, not " + arguments);
        }
        String name = arguments.get(0);
        Path draft = directory.resolve("." + name + "." + System.nanoTime());
        try { // under its name it appears whole, also when two requests write it at once
            Files.writeString(draft, "public class " + name + " {\n}\n");
            Files.move(draft, directory.resolve(name + ".java"), StandardCopyOption.ATOMIC_MOVE);
        } finally {
            Files.deleteIfExists(draft);
        }
        return name + ".java written";
    }
}

package com.zov.wolk.wolkgen;

import java.io.*;
import java.net.*;
import java.nio.charset.StandardCharsets;
import java.util.*;

/** Serves requests on the loopback interface until nobody has been connected for a while. */
final class Server {
    private static final int READ_LIMIT_MS = 10_000;
    private static final int LONGEST_REQUEST = 64 * 1024;

    private int clients;
    private long idleSince = now();

    /** The arguments are: -server -serverPort PORT -serverTimeout MILLISECONDS. */
    static void run(String[] args) {
        int port = Integer.parseInt(args[2]) & 0xFFFF;
        int timeoutMs = Math.max(Integer.parseInt(args[4]), 1000); // our own launcher must come
        try {
            new Server().listen(port, timeoutMs);
        } catch (IOException e) {
            System.out.println("generator server, port " + args[2] + ": " + e.getMessage());
        }
    }

    private void listen(int port, int timeoutMs) throws IOException {
        if (port == 0) {
            throw new IOException("nobody would find a server that listens on port 0");
        }
        InetAddress loopback = InetAddress.getByName("127.0.0.1");
        try (ServerSocket listener = new ServerSocket(port, 128, loopback)) {
            acceptUntilIdle(listener, timeoutMs);
        } catch (BindException e) {
            // Another server that has won the port serves the launcher just as well.
            try (Socket probe = new Socket()) {
                probe.connect(new InetSocketAddress(loopback, port), 1000);
            } catch (IOException nobody) {
                throw e;
            }
        }
    }

    private void acceptUntilIdle(ServerSocket listener, int timeoutMs) throws IOException {
        for (int left = timeoutMs; left > 0; left = timeoutMs - idleMs()) {
            listener.setSoTimeout(left);
            try {
                Socket client = listener.accept();
                count(1);
                Thread thread = new Thread(() -> serve(client));
                thread.setDaemon(true); // once run() returns, nothing keeps the process alive
                thread.start();
            } catch (SocketTimeoutException e) {
                // A client may be at work, or have come and gone meanwhile.
            }
        }
    }

    private synchronized void count(int change) {
        clients += change;
        idleSince = now();
    }

    private synchronized int idleMs() {
        return clients > 0 ? 0 : (int) (now() - idleSince);
    }

    private static long now() {
        return System.nanoTime() / 1_000_000;
    }

    private void serve(Socket connection) {
        try (Socket client = connection) {
            client.setTcpNoDelay(true);
            ReplyStream reply = new ReplyStream();
            int code = answer(client, new PrintStream(reply, false, StandardCharsets.UTF_8));
            reply.send(client.getOutputStream(), code);
        } catch (IOException e) {
            // The client has left: nobody is there to be told.
        } finally {
            count(-1);
        }
    }

    private static int answer(Socket client, PrintStream out) {
        try {
            List<String> lines = Arrays.asList(readToNul(client).split("\n", -1));
            int end = lines.size() - 4; // then come the directory, an empty line and nothing
            if (end < 0 || !lines.get(end).equals("-workingDirectory")) {
                throw new IOException("it does not end in a working directory and an empty line");
            }
            return Main.generate(lines.subList(0, end), lines.get(end + 1), out);
        } catch (Throwable e) { // the client waits for its closing line, come what may
            out.print("request failed: " + e + "\n");
            return 1;
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
            if (next > 0 && text.size() <= LONGEST_REQUEST) {
                text.write(next);
            }
        }
        if (next != 0 || text.size() > LONGEST_REQUEST) {
            throw new IOException("no NUL in time, or more than " + LONGEST_REQUEST + " bytes");
        }
        return text.toString(StandardCharsets.UTF_8);
    }
}

package com.zov.wolk.wolkgen;

import static java.nio.charset.StandardCharsets.US_ASCII;

import java.io.*;
import java.util.concurrent.locks.LockSupport;

/**
 * A client's console output, sent so that the launcher recognises the closing line.
 *
 * The launcher receives up to 8192 bytes at a time. It finds the closing line only as the last 26
 * bytes of one receive, and a receive of less than 26 bytes garbles what it prints. So output
 * leaves in pieces of exactly 8192 bytes, and the rest together with the closing line in one last
 * write. A launcher that lags behind reads a full queue in steps of 8192: the same boundaries.
 */
final class ReplyStream extends ByteArrayOutputStream {
    private static final int PIECE = 8192;

    /** Sends what was written, which must end in a line feed, and the closing line. */
    void send(OutputStream client, int code) throws IOException {
        byte[] closing = ("Code generator returned " + code + "\n").getBytes(US_ASCII);
        int rest = count % PIECE;
        if (rest > PIECE - closing.length) {
            // Too long for one write, and a full piece would leave too little: blanks fill it up.
            count--;
            writeBytes((" ".repeat(PIECE - rest) + "\n").getBytes(US_ASCII));
        }
        writeBytes(closing);
        int sent = 0;
        for (; count - sent > PIECE; sent += PIECE) {
            client.write(buf, sent, PIECE);
        }
        if (sent > 0) {
            LockSupport.parkNanos(20_000_000); // lets the launcher empty its queue first
        }
        client.write(buf, sent, count - sent);
    }
}

/**
 * Turns the forked child into a server that outlives the launcher without holding on to anything
 * of it.
 */
#ifndef QUILLON_LAUNCHER_SERVER_PROCESS_HPP
#define QUILLON_LAUNCHER_SERVER_PROCESS_HPP

namespace quillon {

/** A pipe that nobody writes to: its end of file says that the launcher has exited. */
struct Lifeline
{
    int server_end = -1;   /**< the child reads it */
    int launcher_end = -1; /**< the launcher holds it until it exits, however it exits */
};

/** Opens the pipe, before the fork. False when the platform has no descriptors left. */
bool open_lifeline(Lifeline &lifeline);

/**
 * Called by the child right after the fork.
 *
 * Closes the connection and marks it closed (-1), closes every other descriptor from 3 up, takes
 * standard input from /dev/null and leaves the launcher's session. Standard output and error stay
 * the caller's while the launcher lives, so that the caller sees every diagnostic; when it exits
 * they become /dev/null, so that pipes and terminals are free at that moment.
 */
void become_server(int &connection, const Lifeline &lifeline);

} // namespace quillon

#endif

/** The standard descriptors and the output that goes through them. */
#ifndef QUILLON_LAUNCHER_STANDARD_STREAMS_HPP
#define QUILLON_LAUNCHER_STANDARD_STREAMS_HPP

#include <cstddef>

namespace quillon {

/**
 * Opens /dev/null, for reading alone, on each of the descriptors 0 to 2 that is closed.
 *
 * The connection would take the number of a closed standard output otherwise, and the output would
 * go back to the server. Reading alone, so that output that nobody can read is still an error.
 */
void fill_closed_standard_descriptors();

/** Writes to standard output through its stream. A failure is remembered for finish_output. */
void write_output(const char *data, std::size_t size);

/**
 * Flushes standard output.
 *
 * @return false, with the failure reported on standard error, when anything that was written to it
 * is lost.
 */
bool finish_output();

} // namespace quillon

#endif

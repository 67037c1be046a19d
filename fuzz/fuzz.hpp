/** What the fuzz targets share. libFuzzer runs a target; in a build without it, driver.cpp does. */
#ifndef FUZZ_FUZZ_HPP
#define FUZZ_FUZZ_HPP

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace fuzz {

inline void require(bool condition)
{
    if (!condition)
        std::abort();
}

/** The input, which is taken from its front; behind its end are zeros and empty texts. */
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size) : m_next(data), m_end(data + size) {}

    [[nodiscard]] bool empty() const { return m_next == m_end; }

    /** A number below the limit, which is at most 256. */
    unsigned below(unsigned limit) { return empty() ? 0 : *m_next++ % limit; }
    unsigned char byte() { return static_cast<unsigned char>(below(256)); }

    /** At most so many bytes. */
    std::string take(std::size_t most)
    {
        const std::size_t size = std::min(most, static_cast<std::size_t>(m_end - m_next));
        m_next += size;
        return {m_next - size, m_next};
    }
    std::string rest() { return take(SIZE_MAX); }
    /** What stands before the next zero byte or the end. */
    std::string text()
    {
        const auto *end = std::find(m_next, m_end, std::uint8_t{0});
        const std::string text(m_next, end);
        m_next = end == m_end ? end : end + 1;
        return text;
    }

private:
    const std::uint8_t *m_next;
    const std::uint8_t *m_end;
};

/** The target: returns for any input, and leaves no heap block. */
void test(Input input);
/** Runs the target as a part of a test, always on the same inputs. */
void run(int times);

} // namespace fuzz

#endif

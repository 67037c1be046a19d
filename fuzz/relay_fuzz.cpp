// Any series of pieces: what is printed, held back and found is what the contract says.
#include "fuzz/fuzz.hpp"
#include "launcher/OutputRelay.h"

#include <cstdio>
#include <utility>

namespace {

constexpr std::size_t kRingSize = QUILLON_RETCODE_BUFFER_SIZE;
const std::string kNeedle = "Code generator returned ";

/** Positions, each of which is given out when the next piece reaches it; unset ones are zero. */
struct Model
{
    std::string positions = std::string(kRingSize, '\0');
    std::size_t held = 0;
    std::string printed;

    void add(const std::string &piece)
    {
        const std::size_t kept = std::min(piece.size(), kRingSize);
        const std::string displaced = positions.substr(0, held > 0 ? kept : 0);
        printed += displaced + piece.substr(0, piece.size() - kept);
        positions = piece.substr(piece.size() - kept) + positions.substr(kept);
        held = std::min(kRingSize, held + piece.size());
    }
};

/** A piece of any length up to that of a receive; some end with the closing line. */
std::string next_piece(fuzz::Input &input)
{
    const unsigned length = input.byte();
    const unsigned times = 1U << input.below(7);
    const std::string part = input.take(length / 2);
    std::string piece;
    for (unsigned i = 0; i < times; ++i)
        piece += part;
    return length % 2 == 0 ? piece : piece + kNeedle + static_cast<char>('0' + length % 3) + '\n';
}

} // namespace

void fuzz::test(Input input)
{
    char *text = nullptr;
    std::size_t size = 0;
    FILE *const before = std::exchange(stdout, open_memstream(&text, &size));
    QUILLONRetcodeBuffer ring;
    QUILLON_retcodeBufferInitialize(&ring);
    Model model;
    while (!input.empty()) {
        const std::string piece = next_piece(input);
        QUILLON_retcodeBufferAddAndPrint(&ring, piece.data(), static_cast<int32_t>(piece.size()));
        model.add(piece);
        require(ring.start == 0 && ring.count == static_cast<int32_t>(model.held));
        require(std::string(ring.data, kRingSize) == model.positions);
        const bool is_end = model.held == kRingSize && model.positions.starts_with(kNeedle);
        require(QUILLON_retcodeBufferReverseFind(&ring, kRingSize, kNeedle.c_str()) ==
                (is_end ? static_cast<int32_t>(kNeedle.size()) : -1));
    }
    QUILLON_retcodeBufferPrintBuffer(&ring);
    std::fclose(std::exchange(stdout, before));
    require(std::string(text, size) == model.printed + model.positions.substr(0, model.held));
    std::free(text);
}

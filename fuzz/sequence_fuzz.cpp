// Any series of operations on four sequences of a member: each does what the model does.
#include "fuzz/fuzz.hpp"
#include "tests/dds/sequence_subject.hpp"

namespace {

template <class Api>
void run_series(fuzz::Input input)
{
    const auto number = [&input](int from, int to) {
        return from + static_cast<int>(input.below(static_cast<unsigned>(to - from + 1)));
    };
    Subject<Api> subjects[4];
    while (!input.empty()) {
        Subject<Api> &self = subjects[number(0, 3)];
        const Subject<Api> &source = subjects[number(0, 3)];
        const int operation = number(0, std::size(kOperations<Api>) - 1);
        const int a = number(-1, kMost), b = number(-1, kMost);
        std::vector<int> numbers(kMost);
        for (int first = number(0, 99), i = 0; i < kMost; ++i)
            numbers[static_cast<std::size_t>(i)] = (first + 7 * i) % 100;
        const auto [result, expected] = kOperations<Api>[operation](self, source, a, b, numbers);
        fuzz::require(result == expected);
        // A record that is forgotten is first used by the next operation.
        if (self.sequence.init_mark == DDS_SEQUENCE_INITIALIZED)
            fuzz::require(self.is() == self.should_be());
        Model::reports.clear();
    }
    for (Subject<Api> &subject : subjects)
        fuzz::require(Api::unloan(&subject.sequence) || Api::finalize(&subject.sequence));
}

} // namespace

void fuzz::test(Input input)
{
    static constexpr void (*kMembers[])(Input) = {
        run_series<DDS_CharSeqApi>, run_series<DDS_LongSeqApi>, run_series<DDS_DoubleSeqApi>,
        run_series<DDS_LongDoubleSeqApi>, run_series<DDS_StringSeqApi>};
    kMembers[input.below(std::size(kMembers))](input);
}

#include "tests/xml/piecewise.hpp"
#include "xml/append.hpp"

#include <random>
#include <vector>

namespace {

enum class Kind { Indent, Piece, Characters };

struct Step
{
    Kind kind;
    uint32_t depth;
    std::string first;
    std::string second;
};

std::vector<Step> random_steps(unsigned seed)
{
    std::minstd_rand random(seed);
    std::vector<Step> steps(1 + random() % 6);
    for (Step &step : steps) {
        step = {static_cast<Kind>(random() % 3), static_cast<uint32_t>(random() % 20), "", ""};
        step.first.assign(random() % 40, static_cast<char>('a' + random() % 26));
        step.second.assign(random() % 4, '>');
    }
    return steps;
}

TEST(SaveContext, WritesWhatPrintingEachPieceWould)
{
    for (unsigned seed = 1; seed <= 150; ++seed) {
        const std::vector<Step> steps = random_steps(seed);
        SCOPED_TRACE(seed);
        piecewise::expect_same(
            [&](ZOVXMLSaveContext &context) {
                for (const Step &step : steps) {
                    context.depth = step.depth;
                    if (step.kind == Kind::Indent)
                        ZOVXMLSaveContext_indent(&context);
                    else if (step.kind == Kind::Piece)
                        zov::xml::append(context, {step.first, step.second});
                    else
                        zov::xml::append_characters(context, step.first);
                }
            },
            [&](ZOVXMLSaveContext &context) {
                for (const Step &step : steps) {
                    context.depth = step.depth;
                    if (step.kind == Kind::Indent)
                        piecewise::indent(context);
                    else if (step.kind == Kind::Piece)
                        piecewise::print(context, "%s%s", step.first.c_str(), step.second.c_str());
                    else
                        for (const char c : step.first)
                            piecewise::print(context, "%c", c);
                }
            });
        if (HasFatalFailure())
            return;
    }
}

TEST(SaveContext, StartsEmpty)
{
    ZOVXMLSaveContext context;
    std::memset(&context, 0x5A, sizeof context);
    EXPECT_TRUE(ZOVXMLSaveContext_initialize(&context));
    EXPECT_EQ(context.outputFile, nullptr);
    EXPECT_EQ(context.outputBuffer, nullptr);
    EXPECT_EQ(context.outputBufferSize + context.length + context.depth, 0u);
    EXPECT_FALSE(context.error);
    ZOVXMLSaveContext_finalize(&context);
}

TEST(SaveContext, IndentationTooDeepToPrintIsAnError)
{
    ZOVXMLSaveContext context = {};
    context.depth = 0x20000000;
    ZOVXMLSaveContext_indent(&context);
    EXPECT_TRUE(context.error);
    EXPECT_EQ(context.length, 0u);
}

} // namespace

/** Writing and escaping against another library's printer, looking names up against std::map. */
#include "bench/Rows.hpp"
#include "dds/XmlHelper.h"
#include "osapi/Utility.h"
#include "xml/Object.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <tinyxml2.h>
#include <vector>

namespace {

using bench::keep;
using bench::Measure;
using bench::nothing;
using bench::Row;

// A line of 64 characters, plain and with 14 that both libraries escape in text.
constexpr char kPlain[] = "The quick brown fox jumps over the lazy dog, and runs far away..";
constexpr char kSpecial[] = "<a>&<b>&<c> if x < y && y > z then <d> else what is not escaped.";
static_assert(sizeof kPlain == 65 && sizeof kSpecial == 65);
static_assert(std::count_if(kSpecial, kSpecial + 64,
                            [](char c) { return c == '<' || c == '>' || c == '&'; }) == 14);

constexpr std::array<const char *, 6> kNumbers = {"max_samples",      "max_instances",
                                                  "initial_samples",  "initial_instances",
                                                  "samples_per_read", "instance_hash_buckets"};

char g_buffer[1024];

ZOVXMLSaveContext fresh_context()
{
    ZOVXMLSaveContext context = {};
    context.outputBuffer = g_buffer;
    context.outputBufferSize = sizeof g_buffer;
    return context;
}

template <const char *text>
void save_record(int count)
{
    for (int i = 0; i < count; ++i) {
        ZOVXMLSaveContext context = fresh_context();
        DDS_XMLHelper_save_tag("limits", DDS_XML_TAG_OPEN_BLOCK, &context);
        for (const char *name : kNumbers)
            DDS_XMLHelper_save_long(name, i, &context);
        DDS_XMLHelper_save_string("description", text, &context);
        DDS_XMLHelper_save_tag("limits", DDS_XML_TAG_CLOSE_BLOCK, &context);
        keep(context.length);
    }
}

template <const char *text>
void print_record(int count)
{
    tinyxml2::XMLPrinter printer;
    for (int i = 0; i < count; ++i) {
        printer.ClearBuffer();
        printer.OpenElement("limits");
        for (const char *name : kNumbers) {
            printer.OpenElement(name);
            printer.PushText(i);
            printer.CloseElement();
        }
        printer.OpenElement("description");
        printer.PushText(text);
        printer.CloseElement();
        printer.CloseElement();
        int length = printer.CStrSize();
        keep(length);
    }
}

template <const char *text>
void save_string(int count)
{
    for (int i = 0; i < count; ++i) {
        ZOVXMLSaveContext context = fresh_context();
        DDS_XMLHelper_save_string("description", text, &context);
        keep(context.length);
    }
}

template <const char *text>
void print_string(int count)
{
    tinyxml2::XMLPrinter printer;
    for (int i = 0; i < count; ++i) {
        printer.ClearBuffer();
        printer.OpenElement("description");
        printer.PushText(text);
        printer.CloseElement();
        int length = printer.CStrSize();
        keep(length);
    }
}

constexpr int kChildren = 1'000;
constexpr int kLookUps = 100'000;
constexpr std::uint32_t kSeed = 1; // of the levels of the list of children

void delete_object(ZOVXMLObject *object)
{
    ZOVXMLObject_finalize(object);
    delete object;
}

const ZOVXMLExtensionClass kClass = {"child", delete_object, nullptr};

ZOVXMLObject *g_parent;
std::map<std::string, ZOVXMLObject *> g_map;
std::vector<std::string> g_drawn; // names, at random

ZOVXMLObject *make_object(ZOVXMLObject *parent, const char *name)
{
    auto *object = new ZOVXMLObject();
    if (!ZOVXMLObject_initialize(object, &kClass, parent, name, nullptr) ||
        (parent != nullptr && !ZOVXMLObject_addChild(parent, object)))
        std::abort();
    return object;
}

void make_children()
{
    std::mt19937 random(kChildren);
    std::vector<std::string> names;
    for (int i = 0; i < kChildren; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "child_%04d", i);
        names.emplace_back(name);
    }
    std::shuffle(names.begin(), names.end(), random);
    ZOVOsapiUtility_srandWithSeed(kSeed);
    g_parent = make_object(nullptr, "parent");
    for (const std::string &name : names)
        g_map.emplace(name, make_object(g_parent, name.c_str()));
    std::uniform_int_distribution<std::size_t> any(0, names.size() - 1);
    for (int i = 0; i < kLookUps; ++i)
        g_drawn.push_back(names[any(random)]);
}

void delete_children()
{
    delete_object(g_parent);
    g_map.clear();
    g_drawn.clear();
}

template <auto look_up>
void find_object(int count)
{
    for (const std::string &name : std::span(g_drawn).first(static_cast<std::size_t>(count))) {
        ZOVXMLObject *found = look_up(g_parent, name.c_str());
        keep(found);
    }
}

void find_in_map(int count)
{
    for (const std::string &name : std::span(g_drawn).first(static_cast<std::size_t>(count))) {
        ZOVXMLObject *found = g_map.find(name)->second;
        keep(found);
    }
}

constexpr char kPrinter[] = "tinyxml2";

const Row kRows[] = {
    {{"XML: write 6 integers + 64 characters", kPrinter, 0.5, Measure::Cost},
     20'000,
     save_record<kPlain>,
     print_record<kPlain>,
     nothing,
     nothing},
    {{"same, 14 of them escaped", kPrinter, 0.5, Measure::Cost},
     20'000,
     save_record<kSpecial>,
     print_record<kSpecial>,
     nothing,
     nothing},
    {{"write 64 characters", kPrinter, 0.8, Measure::Cost},
     100'000,
     save_string<kPlain>,
     print_string<kPlain>,
     nothing,
     nothing},
    {{"same, 14 of them escaped", kPrinter, 0.8, Measure::Cost},
     100'000,
     save_string<kSpecial>,
     print_string<kSpecial>,
     nothing,
     nothing},
    {{"look up one of 1000 names", "std::map", 3, Measure::Cost},
     kLookUps,
     find_object<ZOVXMLObject_lookUp>,
     find_in_map,
     make_children,
     delete_children},
    {{"look up one of 1000 children", "the scoped look-up", 1.05, Measure::Cost},
     kLookUps,
     find_object<ZOVXMLObject_lookUpChild>,
     find_object<ZOVXMLObject_lookUp>,
     make_children,
     delete_children},
};

} // namespace

std::span<const Row> bench::xml_rows()
{
    return kRows;
}

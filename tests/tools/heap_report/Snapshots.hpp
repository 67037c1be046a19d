/** A program's heap at two moments, written by the library, for the tests of what is told of it. */
#ifndef TESTS_TOOLS_HEAP_REPORT_SNAPSHOTS_HPP
#define TESTS_TOOLS_HEAP_REPORT_SNAPSHOTS_HPP

#include "tests/osapi/heap_monitor.hpp"
#include "tests/support/Process.hpp"

namespace test {

/** A type that would end the data of a page, were it not escaped. */
inline constexpr char kHostileType[] = "</script><script>document.title=\"broken & out\"</script>";

class Snapshots : public HeapMonitor
{
protected:
    Snapshots()
    {
        EXPECT_TRUE(ZOVOsapiHeap_enableMonitoring());
        allocate(1200, "orders", "reading", ZOV_OSAPI_HEAP_KIND_STRUCTURE, "struct Order");
        allocate(300, "orders", nullptr, ZOV_OSAPI_HEAP_KIND_STRING, "char");
        allocate(500, nullptr, nullptr, ZOV_OSAPI_HEAP_KIND_STRING, "char");
        take(before);
        free_first();
        allocate(1234567, "", "reading", ZOV_OSAPI_HEAP_KIND_ARRAY, kHostileType);
        allocate(40, "orders", "writing", ZOV_OSAPI_HEAP_KIND_STRUCTURE, "struct Order");
        take(after);
    }
    ~Snapshots() override
    {
        while (!m_blocks.empty())
            free_first();
    }

    static Outcome report(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), HEAP_REPORT);
        return run({.arguments = arguments});
    }

    const TemporaryDirectory directory;
    const std::string before = directory.path() + "/before.txt";
    const std::string after = directory.path() + "/after.txt";
    const std::string page = directory.path() + "/page.html";

private:
    void allocate(uint64_t size, const char *topic, const char *activity, uint32_t kind,
                  const char *type)
    {
        ZOVOsapiHeapContext saved = {};
        ZOVOsapiHeap_setHeapContext(&saved, topic, activity);
        void *block = nullptr;
        EXPECT_NE(ZOVOsapiHeap_reallocateMemoryInternal(
                      &block, size, ZOV_OSAPI_HEAP_DEFAULT_ALIGNMENT, ZOV_FALSE, ZOV_FALSE,
                      ZOVOsapiHeap_allocKind2FcnName(kind), kind, type),
                  nullptr);
        ZOVOsapiHeap_restoreHeapContext(&saved);
        m_blocks.emplace_back(block, kind);
    }

    void free_first()
    {
        ZOVOsapiHeap_freeMemoryInternal(m_blocks.front().first, ZOV_FALSE, "free",
                                        m_blocks.front().second);
        m_blocks.erase(m_blocks.begin());
    }

    /** The process's memory, which nobody can foretell, becomes known. */
    static void take(const std::string &file)
    {
        EXPECT_TRUE(ZOVOsapiHeap_snapshot(file.c_str(), ZOV_TRUE));
        const std::string text = read_file(file);
        write_file(file, "Process virtual memory: 9000000\nProcess physical memory: 800000\n" +
                             text.substr(text.find("Current heap usage")));
    }

    std::vector<std::pair<void *, uint32_t>> m_blocks;
};

} // namespace test

#endif

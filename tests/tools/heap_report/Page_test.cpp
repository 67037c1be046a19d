#include "tests/tools/heap_report/Snapshots.hpp"

namespace {

/**
 * The page in a browser, and a reader who clicks: what the reader saw stands, as text, in the
 * element `seen` that the reader's script adds.
 */
class HeapReportPage : public test::Snapshots
{
protected:
    void SetUp() override
    {
        if (test::run({.arguments = {"chromium", "--version"}}).status == 127)
            GTEST_SKIP() << "chromium is not installed; ./dev browser does it";
    }

    std::string seen_by(const std::string &reader)
    {
        test::write_file(page, test::read_file(page) +
                                   "<script>\n"
                                   "const all = (what) => [...document.querySelectorAll(what)];\n"
                                   "const column = (i) => all('tbody tr').map((row) => "
                                   "row.cells[i].textContent).join(' ');\n"
                                   "const seen = [];\ntry {\n" +
                                   reader +
                                   "} catch (error) { seen.push(error); }\n"
                                   "document.body.append(element('pre', {id: 'seen'}, "
                                   "seen.join('|')));\n</script>");
        const test::Outcome outcome =
            test::run({.arguments = {"chromium", "--headless", "--no-sandbox", "--disable-gpu",
                                     "--disable-dev-shm-usage", "--window-size=1200,900",
                                     "--user-data-dir=" + directory.path() + "/browser",
                                     "--dump-dom", "file://" + page}});
        const std::string begin = "<pre id=\"seen\">";
        const std::size_t at = outcome.out.find(begin);
        if (at == std::string::npos)
            return "nothing";
        const std::size_t end = outcome.out.find("</pre>", at);
        return outcome.out.substr(at + begin.size(), end - at - begin.size());
    }
};

TEST_F(HeapReportPage, OfOneSnapshotSortsAndLooksIntoGroups)
{
    ASSERT_EQ(report({before, "--html", page}).status, 0);
    EXPECT_EQ(seen_by(R"(
        seen.push(all('#totals dd').map((figure) => figure.textContent).join(' '));
        const click = (what) => document.querySelector(what).click();
        click('#by button:nth-child(4)');
        seen.push(column(0), column(1), column(3));
        click('thead th:nth-child(2) button');
        seen.push(column(1), all('[aria-sort=ascending]').map((head) => head.textContent).join());
        click('thead th:nth-child(1) button');
        seen.push(column(0));
        const areas = all('#map > .tile').map((tile) => tile.offsetWidth * tile.offsetHeight);
        seen.push(Math.round(10 * areas[0] / (areas[0] + areas[1])));
        click('#map > .tile');
        seen.push(document.activeElement.textContent, all('tbody tr, tfoot tr').length,
                  document.querySelector('tfoot').textContent);
        click('.chip');
        seen.push(column(0), document.activeElement.textContent);
    )"),
              "2,000 3 9,000,000 800,000 2,000 2,000 3 0"
              "|reading n/a|1,200 800|60.0% 40.0%|800 1,200|bytes|n/a reading|6"
              "|activity: reading \xC3\x97|2|Total1,2001100.0%|n/a reading|activity");
}

TEST_F(HeapReportPage, OfTwoSnapshotsIsColouredByChangeAndHoldsAnyName)
{
    ASSERT_EQ(report({after, before, "--html=" + page}).status, 0);
    EXPECT_EQ(seen_by(R"(
        show({ by: 1, inner: -1 });
        seen.push(column(1), column(2), column(3), column(6));
        seen.push(all('tbody th')[2].textContent.startsWith('<\/script><script>document'),
                  document.title.startsWith('Heap report'),
                  performance.getEntriesByType('resource').length);
        const colour = (tile) => ['--direction', '--strength'].map((name) =>
            getComputedStyle(tile).getPropertyValue(name)).join(' ');
        seen.push(all('#map > .tile').map(colour));
        show({ by: 3 });
        seen.push(all('#map > .tile').map(colour), $('detail').textContent);
        show({ by: 2, inner: 1 });
        seen.push(all('.tile .tile').map(colour));
    )"),
              "40 800 1,234,567|1,200 800 0|+1,160 0 -1,234,567|0 0 -1|true|true|0"
              "|#f0934a 98%,#e3e6eb 0%|#5aa2e6 100%,#e3e6eb 0%|Areas are bytes after. Without "
              "bytes, and so only in the table: 1. Click on a group to see what is in it."
              "|#f0934a 98%,#e3e6eb 0%,#e3e6eb 0%");
}

TEST_F(HeapReportPage, TilesAreNearlySquare)
{
    ASSERT_EQ(report({before, "--html=" + page}).status, 0);
    EXPECT_EQ(seen_by(R"(
        for (const [group, ...place] of squarify([1, 6, 3, 6, 0, 2, 4, 2].map((bytes) => ({ bytes })), 0, 0, 6, 4))
            seen.push([group.bytes + ':', ...place.map((value) => Number(value.toFixed(2)))].join(' '));
    )"),
              "6: 0 0 3 2|6: 0 2 3 2|4: 3 0 1.71 2.33|3: 4.71 0 1.29 2.33|2: 3 2.33 1.2 1.67"
              "|2: 4.2 2.33 1.2 1.67|1: 5.4 2.33 0.6 1.67");
}

TEST_F(HeapReportPage, WithoutBlocksSaysSo)
{
    const std::string text = test::read_file(before);
    test::write_file(before, text.substr(0, text.find("block_id")));
    ASSERT_EQ(report({before, "--html", page}).status, 0);
    EXPECT_EQ(seen_by("seen.push($('blocks').hidden, $('empty').textContent, "
                      "all('#totals dd').length);"),
              "true|There are no groups: " + before + " was taken without its blocks.|6");
}

} // namespace

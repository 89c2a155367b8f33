#include "velmd/faces/TablesDocument.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velm::faces {

using testing::HasSubstr;

TEST(TablesDocument, KeepsTheTables) {
    const std::string tables =
        "<TABLE BORDER><TR><TH>Name</TH></TR><TR><TD>a</TD><TD><B>b</B><BR>c</TD></TR></TABLE>";
    EXPECT_THAT(tablesDocument(tables), HasSubstr("<body>\n" + tables + "\n</body>"));
}

TEST(TablesDocument, MakesTextOfEverythingElse) {
    const std::pair<const char*, const char*> rows[]{
        {"<script>x</script>", "&lt;script>x&lt;/script>"},
        {"<TD onclick=x>", "&lt;TD onclick=x>"},
        {"<TABLE BORDER onload=x>", "&lt;TABLE BORDER onload=x>"},
        {"<td>", "&lt;td>"},
        {"<TABLE>", "&lt;TABLE>"},
        {"<<TD>", "&lt;<TD>"},
        {"<", "&lt;"},
        {"<!--", "&lt;!--"},
        {"<T", "&lt;T"},
        {"&lt;&#60;b&", "&amp;lt;&amp;#60;b&amp;"},
        {"", ""},
    };
    for (const auto& [text, expected] : rows) {
        EXPECT_THAT(tablesDocument(text), HasSubstr(std::string("<body>\n") + expected + "\n</body>"));
    }
}

TEST(TablesDocument, SaysOfWhenAnExcerptIs_AndWhetherItIsAll) {
    KeptTables::Excerpt excerpt{"<TABLE BORDER><b></TABLE>", false, status::Time(std::chrono::seconds(3661))};
    EXPECT_THAT(tablesDocument(excerpt),
                HasSubstr("<body>\n<p>As of 01:01:01 UTC.</p>\n<TABLE BORDER>&lt;b></TABLE>\n</body>"));
    excerpt.isCut = true;
    EXPECT_THAT(tablesDocument(excerpt),
                HasSubstr("01:01:01 UTC. Of each table no more than 128 kB is here; the link above leads"));
}

}  // namespace velm::faces

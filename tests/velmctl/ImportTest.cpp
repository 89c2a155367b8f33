// velmctl import, with small files and with a large schema.

#include "tests/support/SharedFolder.h"
#include "tests/velmctl/VelmctlSupport.h"

#include <gmock/gmock.h>

using namespace velm::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string declarations(const std::string& content) {
    return "<?xml version=\"1.0\"?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"><DECLARATION><DECLGROUP>\n" +
           content + "</DECLGROUP></DECLARATION></CIM>\n";
}

std::string classNamed(const std::string& name, const std::string& superClass = "") {
    return "<VALUE.OBJECT><CLASS NAME=\"" + name + "\"" +
           (superClass.empty() ? "" : " SUPERCLASS=\"" + superClass + "\"") + ">" +
           (superClass.empty() ? R"(<PROPERTY NAME="Id" TYPE="uint32"><QUALIFIER NAME="Key" TYPE="boolean">)"
                                 R"(<VALUE>TRUE</VALUE></QUALIFIER></PROPERTY>)"
                                 R"(<PROPERTY NAME="Note" TYPE="string"></PROPERTY>)"
                               : "") +
           "</CLASS></VALUE.OBJECT>\n";
}

std::string instanceOf(const std::string& className, const std::string& id, const std::string& note) {
    return "<VALUE.OBJECT><INSTANCE CLASSNAME=\"" + className +
           R"("><PROPERTY NAME="Id" TYPE="uint32"><VALUE>)" + id +
           R"(</VALUE></PROPERTY><PROPERTY NAME="Note" TYPE="string"><VALUE>)" + note +
           "</VALUE></PROPERTY></INSTANCE></VALUE.OBJECT>\n";
}

constexpr const char* qualifier =
    R"(<QUALIFIER.DECLARATION NAME="EX_Mark" TYPE="boolean"><SCOPE CLASS="true"></SCOPE><VALUE>FALSE</VALUE>)"
    "</QUALIFIER.DECLARATION>\n";

class Import : public Velmctl {
protected:
    std::string file(const std::string& name, const std::string& content) const {
        return files.write(name, declarations(content)).string();
    }

    ProgramResult import(Words words) const {
        words.insert(words.begin(), "import");
        return runVelmctl(to(words));
    }

    /// The summary of one that wrote JSON.
    boost::json::object summaryOf(const ProgramResult& result) const {
        for (const auto& line : jsonLines(result.output)) {
            if (line.contains("created")) {
                return line;
            }
        }
        return {};
    }

    TemporaryDirectory files;
};

}  // namespace

TEST_F(Import, LoadsWhatOthersNeedFirst_AndSkipsWhatIsThere) {
    const std::string small =
        file("small.xml", instanceOf("EX_Part", "7", "seven") + classNamed("EX_Part", "EX_Thing") +
                              classNamed("EX_Thing") + qualifier);
    const ProgramResult first = import({small});
    EXPECT_EQ(first.exitCode, 0) << first.output;
    EXPECT_THAT(first.output, HasSubstr("4 created, 0 replaced, 0 skipped, 0 refused\n"));
    EXPECT_THAT(runVelmctl(to({"instances", "EX_Thing"})).output, HasSubstr("= seven\n"));
    const ProgramResult again = import({small});
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_THAT(again.output, AllOf(HasSubstr("0 created, 0 replaced, 4 skipped, 0 refused\n"),
                                    HasSubstr("There already: EX_Mark, EX_Thing, EX_Part, EX_Part\n")));
}

TEST_F(Import, ReplacesWhatTheDaemonCanReplace) {
    ASSERT_EQ(
        import({file("first.xml", qualifier + classNamed("EX_Thing") + instanceOf("EX_Thing", "7", "old"))})
            .exitCode,
        0);
    const ProgramResult result =
        import({"--replace",
                file("second.xml", qualifier + classNamed("EX_Thing") + instanceOf("EX_Thing", "7", "new"))});
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_THAT(result.output, AllOf(HasSubstr("0 created, 2 replaced, 1 skipped, 0 refused\n"),
                                     HasSubstr("cannot replace classes while it runs")));
    EXPECT_THAT(runVelmctl(to({"instances", "EX_Thing"})).output,
                AllOf(HasSubstr("= new\n"), Not(HasSubstr("= old\n"))));
}

TEST_F(Import, NamesThePlaceOfWhatIsRefused_AndGoesOn) {
    const std::string bad = file("bad.xml", classNamed("EX_Orphan", "EX_None") +
                                                classNamed("EX_Child", "EX_Orphan") + classNamed("EX_Good"));
    const ProgramResult result = import({bad});
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_THAT(unwrapped(result.output),
                AllOf(HasSubstr(bad + ": line 3: class EX_Orphan: the server refused: CIM status 10 "),
                      HasSubstr(bad + ": line 4: class EX_Child: its superclass EX_Orphan was refused\n"),
                      HasSubstr("1 created, 0 replaced, 0 skipped, 2 refused\n"),
                      HasSubstr("the daemon refused 2 of 3 declarations")));
}

TEST_F(Import, SendsNothing_WhenAFileCannotBeRead) {
    const std::string good = file("good.xml", classNamed("EX_Good"));
    const std::string broken = files.write("broken.xml", "<CIM>\n<CLASS").string();
    const ProgramResult result = import({good, broken});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.output, AllOf(HasSubstr("velmctl: " + broken), HasSubstr("line 2")));
    EXPECT_EQ(runVelmctl(to({"classes", "EX_Good"})).exitCode, 4);
}

TEST_F(Import, TellsWhatIsWrongWithAFile_AndWhatIsWanted) {
    const struct {
        std::string file;
        const char* told;
    } cases[] = {
        {files.path() / "none.xml", ": there is no such file. "},
        {files.path(), ": it is no file. "},
        {files.write("empty.xml", ""), ": line 1, column 1: "},
        {files.write("words.xml", "hello"), ": line 1, column 1: "},
        {files.write("other.xml", "<foo/>"), "the document is no CIM-XML: its root is not CIM. "},
        {files.write("entity.xml", "<!DOCTYPE CIM [<!ENTITY a \"b\">]><CIM>&a;</CIM>"),
         ": document type declarations are not accepted. "},
    };
    for (const auto& [name, told] : cases) {
        const ProgramResult result = import({name});
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_THAT(unwrapped(result.output),
                    AllOf(HasSubstr("velmctl: " + name), HasSubstr(told),
                          HasSubstr("Nothing was loaded; name CIM-XML files with declarations\n")));
    }
}

TEST_F(Import, IsAnObjectALine_WhenJSONIsWanted) {
    const std::string small = file("small.xml", classNamed("EX_Thing") + classNamed("EX_Orphan", "EX_None"));
    const ProgramResult result = import({small, "--json"});
    EXPECT_EQ(result.exitCode, 4);
    const auto lines = jsonLines(result.output);
    ASSERT_GE(lines.size(), 3U) << result.output;
    EXPECT_EQ(summaryOf(result).at("created").as_int64(), 1);
    EXPECT_THAT(result.output, HasSubstr(R"("done":"refused","kind":"class","name":"EX_Orphan")"));
}

TEST_F(Import, ShowsABarOnATerminal) {
    TerminalProcess screen(
        velmctlCommand(to({"import", file("a.xml", classNamed("EX_A") + classNamed("EX_B"))})), 80);
    EXPECT_EQ(screen.wait(), 0);
    EXPECT_THAT(screen.screen(), AllOf(HasSubstr("█ 2 of 2  EX_B"), HasSubstr("2 created")));
}

TEST_F(Import, StopsBetweenDeclarations_OnControlC) {
    std::string many;
    for (int index = 0; index < 3000; ++index) {
        many += classNamed("EX_Thing" + std::to_string(index));
    }
    const std::string large = file("large.xml", many);
    TerminalProcess screen(velmctlCommand(to({"import", large})), 80);
    ASSERT_TRUE(screen.waitFor(" of 3000")) << screen.screen();
    screen.typeControlC();
    EXPECT_EQ(screen.wait(), 1);
    EXPECT_THAT(screen.screen(),
                AllOf(HasSubstr("stopped after "), HasSubstr("of 3000 declarations. What was loaded stays")));
}

TEST_F(Import, SaysHowFarItGot_WhenTheDaemonGoes) {
    std::string many;
    for (int index = 0; index < 3000; ++index) {
        many += classNamed("EX_Thing" + std::to_string(index));
    }
    TerminalProcess screen(velmctlCommand(to({"import", file("large.xml", many)})), 80);
    ASSERT_TRUE(screen.waitFor(" of 3000")) << screen.screen();
    velmd.kill();
    EXPECT_EQ(screen.wait(), 3);
    EXPECT_THAT(screen.screen(), testing::ContainsRegex("ended after [0-9]+ of 3000 declarations: "));
}

TEST_F(Import, LoadsALargeSchema) {
    const auto schema = realSchema();
    VELM_SKIP_WITHOUT(schema);
    const ProgramResult result = import({schema, "--json"});
    EXPECT_EQ(result.exitCode, 0);
    const auto summary = summaryOf(result);
    EXPECT_EQ(summary.at("refused").as_int64(), 0);
    EXPECT_GT(summary.at("created").as_int64(), 1500);
    EXPECT_EQ(runVelmctl(to({"classes", "CIM_StorageVolume"})).exitCode, 0);
}

#include "tests/support/VelmdItems.h"
#include "tests/support/WBEMClient.h"
#include "tests/velmctl/VelmctlSupport.h"

#include <gmock/gmock.h>

using namespace velm::test;
using testing::HasSubstr;

namespace {

constexpr const char* samplerClass =
    R"(<CLASS NAME="EX_Sampler"><PROPERTY NAME="Id" TYPE="uint32"><QUALIFIER NAME="Key" TYPE="boolean">)"
    R"(<VALUE>TRUE</VALUE></QUALIFIER></PROPERTY><PROPERTY NAME="IsOn" TYPE="boolean"></PROPERTY>)"
    R"(<PROPERTY NAME="Ratio" TYPE="real64"></PROPERTY><PROPERTY NAME="Since" TYPE="datetime"></PROPERTY>)"
    R"(<PROPERTY.ARRAY NAME="Marks" TYPE="sint16"></PROPERTY.ARRAY>)"
    R"(<PROPERTY.REFERENCE NAME="Owner" REFERENCECLASS="CIM_ComputerSystem"></PROPERTY.REFERENCE></CLASS>)";

class Emit : public Velmctl {
protected:
    void SetUp() override {
        WBEMClient client(velmd.port());
        ASSERT_EQ(client.call("CreateClass", {{"NewClass", samplerClass}}).status(), 0);
    }

    ProgramResult emit(Words words) const {
        words.insert(words.begin(), "emit");
        return runVelmctl(to(words));
    }

    boost::json::object sampler() const {
        const ProgramResult result = runVelmctl(to({"instances", "EX_Sampler", "--json"}));
        const auto lines = jsonLines(result.output);
        return lines.size() == 1 ? lines[0].at("properties").as_object() : boost::json::object();
    }
};

}  // namespace

TEST_F(Emit, SendsValuesInTheTypesOfTheClass) {
    createComputer("moon");
    const std::string moon =
        R"(root/kob/talmora:CIM_ComputerSystem.CreationClassName="CIM_ComputerSystem",Name="moon")";
    const ProgramResult result = emit({"create", "EX_Sampler", "id=7", "IsOn=true", "Ratio=0.5", "Marks=-1",
                                       "Marks=2", "Since=20261121190000.000000+000", "Owner=" + moon});
    ASSERT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(result.output, "created root/kob/talmora:EX_Sampler.Id=7\n");
    const auto properties = sampler();
    EXPECT_EQ(properties.at("Id").to_number<int>(), 7);
    EXPECT_EQ(properties.at("IsOn"), true);
    EXPECT_EQ(properties.at("Ratio").as_double(), 0.5);
    EXPECT_EQ(properties.at("Since"), "20261121190000.000000+000");
    EXPECT_EQ(properties.at("Owner"), boost::json::value(moon));
    ASSERT_EQ(properties.at("Marks").as_array().size(), 2U);
    EXPECT_EQ(properties.at("Marks").as_array()[0].as_int64(), -1);
}

TEST_F(Emit, ModifiesWhatIsNamedAndNothingElse) {
    ASSERT_EQ(emit({"create", "EX_Sampler", "Id=7", "IsOn=true", "Ratio=0.5"}).exitCode, 0);
    const ProgramResult result = emit({"modify", "EX_Sampler", "Id=7", "Ratio=2"});
    ASSERT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(sampler().at("Ratio").as_double(), 2);
    EXPECT_EQ(sampler().at("IsOn"), true);
}

TEST_F(Emit, Deletes) {
    ASSERT_EQ(emit({"create", "EX_Sampler", "Id=7"}).exitCode, 0);
    const ProgramResult result = emit({"delete", "EX_Sampler", "Id=7", "--json"});
    ASSERT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(jsonLines(result.output).at(0).at("done"), "delete");
    EXPECT_EQ(sampler().size(), 0U);
}

TEST_F(Emit, TellsWhatIsWrongWithItsArguments) {
    const struct {
        Words words;
        const char* told;
    } cases[] = {
        {{"create", "EX_Sampler", "Id=x"}, "velmctl: Id: "},
        {{"create", "EX_Sampler", "Id=7", "Ration=1"}, "no property 'Ration'; did you mean 'Ratio'?"},
        {{"create", "EX_Sampler", "IsOn=true"}, "keys that are not given: Id; add Id=VALUE"},
        {{"create", "EX_Sampler", "Id=7", "IsOn"}, "'IsOn' is not NAME=VALUE"},
        {{"create", "EX_Sampler", "Id=7", "Id=8"}, "Id is given twice"},
        {{"modify", "EX_Sampler", "Id=7"}, "there is nothing to modify"},
        {{"craete", "EX_Sampler", "Id=7"}, "did you mean 'create'?"},
    };
    for (const auto& [words, told] : cases) {
        const ProgramResult result = emit(words);
        EXPECT_EQ(result.exitCode, 2) << result.output;
        EXPECT_THAT(unwrapped(result.output), HasSubstr(told));
        EXPECT_THAT(unwrapped(result.output), HasSubstr("velmctl emit --help"));
    }
}

TEST_F(Emit, PassesOnWhatTheDaemonRefuses) {
    ASSERT_EQ(emit({"create", "EX_Sampler", "Id=7"}).exitCode, 0);
    const ProgramResult again = emit({"create", "EX_Sampler", "Id=7"});
    EXPECT_EQ(again.exitCode, 4);
    EXPECT_THAT(again.output, HasSubstr("CIM status 11 (CIM_ERR_ALREADY_EXISTS): "));
    const ProgramResult stranger =
        emit({"delete", "CIM_ComputerSystem", "Name=a-computer-that-is-not-there"});
    EXPECT_THAT(stranger.output, HasSubstr("Name=\"a-computer-that-is-not-there\"'"));
    const ProgramResult gone = emit({"delete", "EX_Sampler", "Id=8"});
    EXPECT_THAT(gone.output, HasSubstr("velmctl instances CLASS --names"));
    const ProgramResult misspelt = emit({"create", "EX_None", "Id=7"});
    EXPECT_THAT(misspelt.output, HasSubstr("velmctl classes shows those that there are"));
    const ProgramResult unknown = emit({"create", "EX_None", "Id=7", "--json"});
    EXPECT_EQ(unknown.exitCode, 4);
    EXPECT_EQ(jsonLines(unknown.output).at(0).at("exitCode").as_int64(), 4);
}

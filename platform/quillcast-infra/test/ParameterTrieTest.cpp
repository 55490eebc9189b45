#include "quillcast-infra/ParameterTrie.h"
#include "test-support/LogCapture.h"

#include <gmock/gmock.h>
#include <sstream>

using namespace Vexalor;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ParameterTrieTest, ReadsNamesAndValues)
{
    ParameterTrie trie;
    ASSERT_TRUE(trie.setParameter("a.b", "earlier"));
    ASSERT_TRUE(trie.setParameter("a.bc", "kept"));
    std::istringstream text("\xEF\xBB\xBF# comment\r\n\r\n a.b = x=y # z \r\na.b.c=\n\ta.b.d\t=\t1");
    ASSERT_TRUE(trie.read(text, "text"));

    const std::pair<const char*, const char*> EXPECTED[] = {
        {"a.b", "x=y # z"}, {"a.bc", "kept"}, {"a.b.c", ""}, {"a.b.d", "1"}};
    for (const auto& [name, strExpected] : EXPECTED)
    {
        std::string strValue = "untouched";
        EXPECT_TRUE(trie.getStringParameter(name, strValue)) << name;
        EXPECT_EQ(strValue, strExpected) << name;
    }
    std::string strValue = "untouched";
    EXPECT_FALSE(trie.getStringParameter("a", strValue));
    EXPECT_EQ(strValue, "untouched");

    EXPECT_THAT(trie.getParameterNames("a.b"), ElementsAre("a.b.c", "a.b.d"));
    EXPECT_THAT(trie.getParameterNames(""), ElementsAre("a.b", "a.b.c", "a.b.d", "a.bc"));
    EXPECT_THAT(trie.getParameterNames("a.b.c"), IsEmpty());
}

TEST(ParameterTrieTest, AMalformedLineIsNamedAndNothingIsAdded)
{
    const std::pair<std::string, const char*> CASES[] = {
        {"x=1\nno equal sign\n", "ERROR text:2: no '='"},
        {"x=1\n=2\n", "ERROR text:2: malformed name"},
        {"x=1\na..b=2\n", "ERROR text:2: malformed name"},
        {"x=1\n.b=2\n", "ERROR text:2: malformed name"},
        {"x=1\nb.=2\n", "ERROR text:2: malformed name"},
        {"x=1\na b=2\n", "ERROR text:2: malformed name"},
        {"x=1\n\nx=2\n", "ERROR text:3: name defined twice"},
        {"x=1\ny=" + std::string(ParameterTrie::MAX_LINE, 'y'), "ERROR text:2: line too long"},
    };
    for (const auto& [strText, message] : CASES)
    {
        const Testing::LogCapture log("quillcast.infra.ParameterTrie");
        ParameterTrie trie;
        std::istringstream text(strText);
        EXPECT_FALSE(trie.read(text, "text"));
        EXPECT_THAT(log.lines(), ElementsAre(message));
        EXPECT_THAT(trie.getParameterNames(""), IsEmpty());
    }
    const Testing::LogCapture log("quillcast.infra.ParameterTrie");
    EXPECT_FALSE(ParameterTrie().setParameter("a b", "value"));
    EXPECT_THAT(log.lines(), ElementsAre("ERROR Malformed parameter name 'a b'"));
}

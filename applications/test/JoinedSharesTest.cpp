// The patterns of joined shares under the contract of generators.

#include "machine-learning/test/DataGeneratorContract.h"
#include "ml-convert/PartPatterns.h"

namespace
{

/// A share that has left patterns in a file.
ShareFile newShare(const TempDir& in_folder, const char* in_name, std::initializer_list<Patterns> in_passes)
{
    ConvertShare found;
    found.m_uiListed = 1;
    for (const Patterns& vPatterns : in_passes)
    {
        const std::string strFile = ConvertShare::nameOfPass(in_folder.path(in_name), found.m_vPasses.size());
        BinaryFileWriter writer;
        EXPECT_TRUE(writer.open(strFile.c_str()));
        for (const ScriptedGenerator::Pattern& pattern : vPatterns)
            EXPECT_TRUE(writer.write(pattern.m_bReset, pattern.m_vInput, pattern.m_vTarget));
        EXPECT_TRUE(writer.close());
        found.m_vPasses.push_back({vPatterns.size(), sumOfFile(strFile).value_or(0), {}});
    }
    ByteWriter content;
    content(found);
    return {"ml-convert", 1, {}, content.getBytes(), in_folder.path(in_name)};
}

Generator newJoined(const std::vector<ShareFile>& in_vShares)
{
    const CountedObjPtr<PartPatterns> pPatterns(new PartPatterns);
    EXPECT_TRUE(pPatterns->open(in_vShares));
    return pPatterns;
}

/// The second one has no pattern.
Generator newJoinedShares(const TempDir& in_folder)
{
    return newJoined({newShare(in_folder, "a", {{{{1, 2}, {}, true}, {{3, 4}, {1}, true}}}),
                      newShare(in_folder, "b", {Patterns()}),
                      newShare(in_folder, "c", {{{{5, 6}, {0}, true}, {{7, 8}, {}}}})});
}

/// Of a set that passes over its recordings twice.
Generator newJoinedPasses(const TempDir& in_folder)
{
    return newJoined({newShare(in_folder, "a", {{{{1}, {1}, true}}, {{{3}, {0}, true}}}),
                      newShare(in_folder, "b", {{{{2}, {0}, true}}, {{{4}, {1}, true}}})});
}

const GeneratorRow GENERATORS[] = {
    {"JoinedShares", newJoinedShares, 4, 2, 3, false, false, true},
    {"JoinedPasses", newJoinedPasses, 4, 4, 4, false, false, true},
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Joined, DataGeneratorContract, combine(GENERATORS), nameOf);

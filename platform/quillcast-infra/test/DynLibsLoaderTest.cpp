#include "quillcast-infra/DynLibsLoader.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>

using namespace Vexalor;
using testing::ElementsAre;
using testing::StartsWith;

namespace
{

const char* const PLUGIN = QC_BINARY_DIR "/lib/libinfra-test-plugin.so";

class DynLibsLoaderTest : public testing::Test
{
protected:
    ~DynLibsLoaderTest() override
    {
        DynLibsLoader::setRefuseAll(false);
        DynLibsLoader::setPluginFolders({});
    }

    Testing::LogCapture m_log{"quillcast.infra.DynLibsLoader"};
};

} // namespace

TEST_F(DynLibsLoaderTest, LoadsAndRunsInitialisers)
{
    unsetenv("QC_TEST_PLUGIN_LOADED");
    EXPECT_TRUE(DynLibsLoader::loadDynLib(PLUGIN));
    EXPECT_STREQ(getenv("QC_TEST_PLUGIN_LOADED"), "yes");
    EXPECT_TRUE(DynLibsLoader::loadDynLib(PLUGIN));
    const std::string strMessage = std::string("INFO Loaded dynamic library ") + PLUGIN;
    EXPECT_THAT(m_log.lines(), ElementsAre(strMessage, strMessage));
}

TEST_F(DynLibsLoaderTest, WhatCannotBeLoadedIsReported)
{
    const Testing::TempDir folder;
    const std::string strText = folder.write("text.so", "no library");
    for (const std::string& strName : {strText, folder.path(), std::string("libnone.so")})
    {
        m_log.clear();
        EXPECT_FALSE(DynLibsLoader::loadDynLib(strName.c_str()));
        EXPECT_THAT(m_log.lines(),
                    ElementsAre(StartsWith("ERROR Cannot load dynamic library '" + strName + "': ")));
    }
    m_log.clear();
    EXPECT_FALSE(DynLibsLoader::loadDynLib(""));
    EXPECT_THAT(m_log.lines(), ElementsAre("ERROR Cannot load a dynamic library without a name"));
}

TEST_F(DynLibsLoaderTest, OnlyThePluginFoldersWhenTheyAreSet)
{
    const Testing::TempDir folder;
    std::filesystem::create_directory(folder.path("plugins"));
    std::filesystem::create_directory(folder.path("plugins-more"));
    std::filesystem::copy_file(PLUGIN, folder.path("plugins/good.so"));
    std::filesystem::copy_file(PLUGIN, folder.path("plugins-more/other.so"));
    std::filesystem::create_symlink(PLUGIN, folder.path("plugins/link.so"));
    ASSERT_TRUE(DynLibsLoader::setPluginFolders({folder.path("plugins")}));

    EXPECT_TRUE(DynLibsLoader::loadDynLib("good.so"));
    EXPECT_TRUE(DynLibsLoader::loadDynLib(folder.path("plugins/good.so").c_str()));
    m_log.clear();
    for (const std::string& strName :
         {std::string(PLUGIN), std::string("link.so"), std::string("../plugins-more/other.so"),
          folder.path("plugins/../plugins-more/other.so"), folder.path("plugins-more/other.so"),
          std::string("libc.so.6"), std::string("..")})
    {
        EXPECT_FALSE(DynLibsLoader::loadDynLib(strName.c_str())) << strName;
        EXPECT_EQ(m_log.lines().back(), "ERROR Cannot load dynamic library '" + strName +
                                            "': it is in none of the plug-in folders");
    }

    EXPECT_FALSE(DynLibsLoader::setPluginFolders({folder.path("none")}));
    EXPECT_EQ(m_log.lines().back(), "ERROR Plug-in folder '" + folder.path("none") + "' is no folder");
    EXPECT_FALSE(DynLibsLoader::loadDynLib(PLUGIN));
}

TEST_F(DynLibsLoaderTest, NothingWhenSwitchedOff)
{
    DynLibsLoader::setRefuseAll(true);
    EXPECT_FALSE(DynLibsLoader::loadDynLib(PLUGIN));
    EXPECT_THAT(m_log.lines(), ElementsAre(std::string("ERROR Cannot load dynamic library '") + PLUGIN +
                                           "': loading is switched off"));
}

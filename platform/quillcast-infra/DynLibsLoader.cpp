#include "quillcast-infra/DynLibsLoader.h"

#include "quillcast-core/Logger.h"
#include "quillcast-core/OS.h"

#include <algorithm>
#include <dlfcn.h>
#include <filesystem>
#include <link.h>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.infra.DynLibsLoader");

bool s_bRefuseAll = false;

StringVector& pluginFolders()
{
    static StringVector vFolders;
    return vFolders;
}

bool isBelow(const std::filesystem::path& in_file, const std::filesystem::path& in_folder)
{
    const auto [itFile, itFolder] =
        std::mismatch(in_file.begin(), in_file.end(), in_folder.begin(), in_folder.end());
    return itFolder == in_folder.end() && itFile != in_file.end();
}

/// The file that the name stands for under the plug-in folders; empty when none of them holds it.
std::string findInPluginFolders(const std::string& in_strName)
{
    const bool bIsPath = in_strName.find('/') != std::string::npos;
    for (const std::string& strFolder : pluginFolders())
    {
        std::string strFile;
        const std::filesystem::path folder = bIsPath ? "" : strFolder;
        std::error_code error;
        if (OS::getCanonicalPath((folder / in_strName).c_str(), strFile) && isBelow(strFile, strFolder) &&
            std::filesystem::is_regular_file(strFile, error))
            return strFile;
    }
    return {};
}

std::string getLoadedPath(void* in_pLibrary, const std::string& in_strName)
{
    const link_map* pMap = nullptr;
    if (dlinfo(in_pLibrary, RTLD_DI_LINKMAP, &pMap) != 0 || pMap == nullptr)
        return in_strName;
    return pMap->l_name;
}

} // namespace

bool DynLibsLoader::loadDynLib(const char* in_name)
{
    std::string strFile;
    return loadDynLib(in_name, strFile);
}

bool DynLibsLoader::loadDynLib(const char* in_name, std::string& out_strFile)
{
    QC_TRACE("DynLibsLoader::loadDynLib");
    std::string strFile = in_name;
    if (strFile.empty())
    {
        QC_ERROR("Cannot load a dynamic library without a name");
        return false;
    }
    if (s_bRefuseAll)
    {
        QC_ERROR("Cannot load dynamic library '" << in_name << "': loading is switched off");
        return false;
    }
    if (!pluginFolders().empty())
        strFile = findInPluginFolders(in_name);
    if (strFile.empty())
    {
        QC_ERROR("Cannot load dynamic library '" << in_name << "': it is in none of the plug-in folders");
        return false;
    }
    // Now: a missing symbol is told here, by name, and not by an abort later. Local: two plug-ins may use one
    // name for different things; both still share the symbols of the libraries that the program itself links.
    void* pLibrary = dlopen(strFile.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (pLibrary == nullptr)
    {
        QC_ERROR("Cannot load dynamic library '" << in_name << "': " << dlerror());
        return false;
    }
    out_strFile = getLoadedPath(pLibrary, strFile);
    QC_INFO("Loaded dynamic library " << out_strFile);
    return true;
}

void* DynLibsLoader::findOwnFunction(const char* in_library, const char* in_function,
                                     std::string& out_strReason)
{
    QC_TRACE("DynLibsLoader::findOwnFunction");
    const std::filesystem::path own = findFile(reinterpret_cast<const void*>(&DynLibsLoader::findFile));
    const std::filesystem::path library = own.parent_path() / in_library;
    void* pLibrary = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* pFunction = pLibrary == nullptr ? nullptr : dlsym(pLibrary, in_function);
    if (pFunction == nullptr)
        out_strReason = dlerror();
    return pFunction;
}

std::string DynLibsLoader::findFile(const void* in_pAddress)
{
    Dl_info info = {};
    const link_map* pMap = nullptr;
    void** pExtra = reinterpret_cast<void**>(const_cast<link_map**>(&pMap));
    return dladdr1(in_pAddress, &info, pExtra, RTLD_DL_LINKMAP) != 0 && pMap != nullptr ? pMap->l_name : "";
}

bool DynLibsLoader::setPluginFolders(const StringVector& in_vFolders)
{
    QC_TRACE("DynLibsLoader::setPluginFolders");
    StringVector vFolders;
    for (const std::string& strFolder : in_vFolders)
    {
        std::error_code error;
        vFolders.emplace_back();
        if (!OS::getCanonicalPath(strFolder.c_str(), vFolders.back()) ||
            !std::filesystem::is_directory(vFolders.back(), error))
        {
            QC_ERROR("Plug-in folder '" << strFolder << "' is no folder");
            return false;
        }
    }
    pluginFolders() = vFolders;
    return true;
}

void DynLibsLoader::setRefuseAll(bool in_bRefuse)
{
    s_bRefuseAll = in_bRefuse;
}

} // namespace Vexalor

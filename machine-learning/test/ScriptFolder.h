#pragma once

#include "AudioClassifierSet.h"
#include "XprAudioClassifier.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-core/XmlOutputArchive.h"
#include "quillcast-infra/DiskFileSystem.h"
#include "test-support/TempDir.h"

#include <filesystem>
#include <sstream>

namespace Vexalor::Testing
{

/// A folder of scripts, with the windower's configuration beside them.
class ScriptFolder
{
public:
    static constexpr const char* WINDOWER_FILE = "windower.xml";

    explicit ScriptFolder(const LinearAudioWindower::Config& in_config = {}) { writeWindower(in_config); }

    /// A script; its name stands without extension.
    void writeScript(const std::string& in_strName, const std::string& in_strText) const
    {
        m_folder.write(in_strName + ".xpr", in_strText);
    }

    /// Any file; returns its path.
    std::string write(const std::string& in_strName, const std::string& in_strContent) const
    {
        return m_folder.write(in_strName, in_strContent);
    }

    void writeWindower(const LinearAudioWindower::Config& in_config) const
    {
        std::ostringstream text;
        XmlOutputArchive archive(text);
        archive.get() << boost::serialization::make_nvp("LinearAudioWindowerConfig", in_config);
        archive.finish();
        m_folder.write(WINDOWER_FILE, text.str());
    }

    TSHandle<VirtualFileSystem> getFileSystem() const
    {
        auto* pFileSystem = new DiskFileSystem;
        pFileSystem->setWorkingDirectory(m_folder.path().c_str());
        return TSHandle<VirtualFileSystem>(pFileSystem);
    }

    /// Names the scripts in this folder and the windower's configuration.
    ParameterTrie getConfig() const
    {
        ParameterTrie config;
        config.setParameter("quillcast.math.xpr.scriptLoader.scriptsDir", ".");
        config.setParameter("quillcast.audioClassifierSet.audioWindowerFilePath", WINDOWER_FILE);
        return config;
    }

    std::string path(const std::string& in_strName = "") const { return m_folder.path(in_strName); }

private:
    TempDir m_folder;
};

/// Makes a folder the working directory while it lives.
class WorkingDirectory
{
public:
    explicit WorkingDirectory(const std::string& in_strPath)
        : m_earlier(std::filesystem::current_path())
    {
        std::filesystem::current_path(in_strPath);
    }
    ~WorkingDirectory() { std::filesystem::current_path(m_earlier); }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    std::filesystem::path m_earlier;
};

/// Adds a classifier of that name that evaluates a variable of that script, and configures it then.
inline bool addScript(MachineLearning::XprClassifierSet& io_set, const char* in_script,
                      const char* in_variable = "result", const char* in_name = nullptr,
                      StringVector in_vFurther = {})
{
    auto* pClassifier = new MachineLearning::XprAudioClassifier;
    return io_set.addClassifier(in_name == nullptr ? in_script : in_name, pClassifier) &&
           pClassifier->configure(in_script, in_variable, LimitedObjPtr<StringVector>(&in_vFurther));
}

/// The text of the result of a classifier of the set.
inline std::string resultText(const MachineLearning::XprClassifierSet& in_set, const char* in_name)
{
    std::ostringstream text;
    text.precision(17);
    in_set.findClassifier(in_name)->second->getResult().write(text);
    return text.str();
}

} // namespace Vexalor::Testing

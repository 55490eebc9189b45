#include "ml-config/GeneratorFile.h"

#include "MLDataGeneratorFactory.h"
#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/Logger.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-infra/DiskFileSystem.h"

#include <sstream>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.Config");

class TextFile final : public VirtualFile
{
public:
    explicit TextFile(const std::string& in_strText)
        : m_buffer(in_strText, std::ios::in)
    {
    }

    std::streambuf& getBuffer() override { return m_buffer; }
    bool close(std::string&) override { return true; }

private:
    std::stringbuf m_buffer;
};

/// One text under every path.
class TextFileSystem final : public VirtualFileSystem
{
public:
    explicit TextFileSystem(const std::string& in_strText)
        : m_strText(in_strText)
    {
    }

    std::unique_ptr<VirtualFile> openForReading(const char*, std::string&) const override
    {
        return std::make_unique<TextFile>(m_strText);
    }

    std::unique_ptr<VirtualFile> openForWriting(const char*, std::string& out_strReason) const override
    {
        out_strReason = "it is only read";
        return nullptr;
    }

    bool exists(const char*) const override { return true; }

private:
    const std::string& m_strText;
};

} // namespace

ArchiveDescription GeneratorFile::describe() const
{
    DescribingArchive archive;
    describeDataGenerator(archive, m_vLibraries, *m_pGenerator);
    return archive.finish();
}

bool GeneratorFile::fromText(const std::string& in_strText, const char* in_name)
{
    QC_TRACE("GeneratorFile::fromText");
    basic_vfsistream<char> stream(TextFileSystem(in_strText), in_name);
    m_pGenerator = CountedObjPtr<DataGenerator>(loadDataGeneratorFromStream(stream));
    if (m_pGenerator.isNull())
        return false;
    std::istringstream again(in_strText);
    CheckedXmlInputArchive archive(again);
    archive.get() >> boost::serialization::make_nvp("MLDataGeneratorLib", m_vLibraries);
    return true;
}

bool readConfigurationText(const char* in_path, std::string& out_strText)
{
    QC_TRACE("MachineLearning::readConfigurationText");
    const DiskFileSystem fileSystem;
    basic_vfsistream<char> stream(fileSystem, in_path);
    std::string strReason = stream.getReason();
    char block[4096];
    while (strReason.empty() && (stream.read(block, sizeof block) || stream.gcount() > 0))
    {
        out_strText.append(block, static_cast<std::size_t>(stream.gcount()));
        if (out_strText.size() > CheckedXmlInputArchive::MAX_SIZE)
            strReason = "it is larger than any configuration";
    }
    if (strReason.empty() && stream.bad())
        strReason = "it cannot be read";
    if (!strReason.empty())
        QC_ERROR("Cannot read " << in_path << ": " << strReason);
    return strReason.empty();
}

} // namespace Vexalor::MachineLearning

#pragma once

#include <boost/archive/archive_exception.hpp>
#include <cstddef>
#include <istream>
#include <memory>
#include <string>
#include <vector>

namespace boost::archive
{
class polymorphic_iarchive;
}

namespace Vexalor
{

/// Says what is wrong with an XML archive, and where: "line 7, element 'm_dLevel': 'x' is not a number".
class ArchiveError : public boost::archive::archive_exception
{
public:
    explicit ArchiveError(std::string in_strMessage);
    const char* what() const noexcept override;

private:
    std::string m_strMessage;
};

/// Reads what XmlOutputArchive or the polymorphic XML output archive of the serialisation library wrote, and
/// refuses everything else by an exception: damaged, forged or oversized files neither crash nor leak nor
/// take memory beyond a small multiple of their size. Stricter than the library's own reader: elements must
/// have the names that the program expects, numbers must fit their fields, and objects form a tree. nan and
/// inf are numbers. A byte order mark may stand at the beginning.
///
/// Call order: (objects and values through get)* finish. The archive owns what is being loaded until a handle
/// takes it (OwnershipScope), so it outlives the loading of each object.
class CheckedXmlInputArchive
{
public:
    /// Largest input, in bytes.
    static constexpr std::size_t MAX_SIZE = std::size_t(64) << 20;
    /// Deepest nesting of elements.
    static constexpr std::size_t MAX_DEPTH = 64;

    /// Reads the whole stream. Throws ArchiveError when that fails or when it does not begin like an archive.
    explicit CheckedXmlInputArchive(std::istream& io_stream);
    ~CheckedXmlInputArchive();

    boost::archive::polymorphic_iarchive& get();

    /// The class keys that the input names, read or not yet read, in its order.
    std::vector<std::string> getClassKeys() const;

    /// Throws ArchiveError unless the end tag of the archive follows, and after it nothing but white space
    /// and XML comments.
    void finish();

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

} // namespace Vexalor

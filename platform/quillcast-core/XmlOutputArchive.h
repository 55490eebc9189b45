#pragma once

#include <memory>
#include <ostream>

namespace boost::archive
{
class polymorphic_oarchive;
}

namespace Vexalor
{

/// Writes an XML archive that CheckedXmlInputArchive reads and, unless it holds nan or inf, the polymorphic
/// XML input archive of the serialisation library as well. Numbers have the shortest digits that read back to
/// the same value, in the classic locale.
///
/// Call order: (objects and values through get)* finish. Nothing reaches the stream before finish.
class XmlOutputArchive
{
public:
    /// The stream must outlive the archive.
    explicit XmlOutputArchive(std::ostream& out_stream);
    ~XmlOutputArchive();

    /// Saving throws archive exceptions, for example for a class without a key.
    boost::archive::polymorphic_oarchive& get();

    /// Writes the archive to the stream and flushes. False if not all of it got there.
    bool finish();

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

} // namespace Vexalor

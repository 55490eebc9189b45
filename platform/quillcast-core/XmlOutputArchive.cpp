#include "quillcast-core/XmlOutputArchive.h"

#include "quillcast-core/src/XmlWriter.h"

namespace Vexalor
{

struct XmlOutputArchive::State
{
    explicit State(std::ostream& out_stream)
        : m_stream(out_stream)
        , m_buffer(XmlWriter::makeBuffer())
        , m_writer(m_buffer)
    {
    }

    std::ostream& m_stream;
    std::ostringstream m_buffer;
    XmlWriter m_writer;
};

XmlOutputArchive::XmlOutputArchive(std::ostream& out_stream)
    : m_pState(std::make_unique<State>(out_stream))
{
}

XmlOutputArchive::~XmlOutputArchive() = default;

boost::archive::polymorphic_oarchive& XmlOutputArchive::get()
{
    return m_pState->m_writer;
}

bool XmlOutputArchive::finish()
{
    m_pState->m_writer.finish();
    m_pState->m_stream << m_pState->m_buffer.view() << std::flush;
    return m_pState->m_stream.good();
}

} // namespace Vexalor

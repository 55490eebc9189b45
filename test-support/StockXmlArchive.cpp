#include "test-support/StockXmlArchive.h"

#include <boost/archive/polymorphic_xml_iarchive.hpp>
#include <boost/archive/polymorphic_xml_oarchive.hpp>
#include <sstream>

namespace Vexalor::Testing
{

void readStockXml(const std::string& in_strText,
                  const std::function<void(boost::archive::polymorphic_iarchive&)>& in_read)
{
    std::istringstream stream(in_strText);
    boost::archive::polymorphic_xml_iarchive archive(stream);
    in_read(archive);
}

std::string writeStockXml(const std::function<void(boost::archive::polymorphic_oarchive&)>& in_write)
{
    std::ostringstream stream;
    {
        boost::archive::polymorphic_xml_oarchive archive(stream);
        in_write(archive);
    }
    return stream.str();
}

} // namespace Vexalor::Testing

#pragma once

#include <functional>
#include <string>

namespace boost::archive
{
class polymorphic_iarchive;
class polymorphic_oarchive;
} // namespace boost::archive

namespace Vexalor::Testing
{

/// Reads a text with the serialisation library's own XML archive, which the users of our files may have.
void readStockXml(const std::string& in_strText,
                  const std::function<void(boost::archive::polymorphic_iarchive&)>& in_read);

/// What the library's own XML archive writes.
std::string writeStockXml(const std::function<void(boost::archive::polymorphic_oarchive&)>& in_write);

} // namespace Vexalor::Testing

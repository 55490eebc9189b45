#pragma once

#include "report/TestResults.h"

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace Vexalor::MachineLearning
{

/// What was tested, for the head of a report.
struct TestDescription
{
    std::string m_strEntity;        ///< the network file, or the name of the script
    std::string m_strConfiguration; ///< of the generator
    std::string m_strInput;         ///< file of the generator; may be empty

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_strEntity, io_self.m_strConfiguration, io_self.m_strInput);
    }
};

/// The report of a test by the schema of doc/report.md.
nlohmann::ordered_json makeReport(const TestDescription& in_description, const TestResults& in_results);

/// Its text. What is no number is null, and bytes that are no UTF-8 are replaced by the sign for that.
std::string toText(const nlohmann::ordered_json& in_report);

} // namespace Vexalor::MachineLearning

#include "ml-classify/ResultWriter.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iostream>
#include <nlohmann/json.hpp>

namespace Vexalor::MachineLearning
{

namespace
{

bool isBlank(char in_c)
{
    return static_cast<unsigned char>(in_c) <= ' ';
}

/// Names of scripts and variables need no escapes, those of classes may.
bool isPlain(const std::string& in_strName)
{
    return std::all_of(in_strName.begin(), in_strName.end(),
                       [](char in_c) { return in_c > ' ' && in_c <= '~' && in_c != '"' && in_c != '\\'; });
}

std::string toJson(const std::string& in_strText)
{
    return nlohmann::json(in_strText).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace

ResultWriter::ResultWriter(bool in_bJson, bool in_bFlush)
    : m_bJson(in_bJson)
    , m_bFlush(in_bFlush)
{
}

bool ResultWriter::write(double in_dTime, const XprClassifierSet& in_set)
{
    for (const auto& [strName, pClassifier] : in_set)
    {
        if (!pClassifier->isStarted())
            continue;
        if (m_bJson)
            appendJson(in_dTime, strName, pClassifier->getResult());
        else
            appendText(in_dTime, strName, pClassifier->getResult());
    }
    return send();
}

void ResultWriter::appendText(double in_dTime, const std::string& in_strClassifier,
                              const Classifier::Result& in_result)
{
    appendNumber(in_dTime);
    m_strBuffer += '\t';
    m_strBuffer += in_strClassifier;
    char separator = '\t';
    for (const Classifier::SingleOutputResult& entry : in_result)
    {
        m_strBuffer += separator;
        for (const char c : entry.m_strName)
            m_strBuffer += isBlank(c) ? '_' : c;
        m_strBuffer += '=';
        appendNumber(entry.m_dValue);
        separator = ' ';
    }
    m_strBuffer += '\n';
}

void ResultWriter::appendJson(double in_dTime, const std::string& in_strClassifier,
                              const Classifier::Result& in_result)
{
    m_strBuffer += "{\"time\":";
    appendNumber(in_dTime);
    m_strBuffer += ",\"classifier\":\"";
    m_strBuffer += in_strClassifier;
    m_strBuffer += "\",\"entries\":[";
    const char* separator = "";
    for (const Classifier::SingleOutputResult& entry : in_result)
    {
        m_strBuffer += separator;
        m_strBuffer += "{\"name\":";
        m_strBuffer += isPlain(entry.m_strName) ? '"' + entry.m_strName + '"' : toJson(entry.m_strName);
        m_strBuffer += ",\"value\":";
        const char* quote = std::isfinite(entry.m_dValue) ? "" : "\"";
        m_strBuffer += quote;
        appendNumber(entry.m_dValue);
        m_strBuffer += quote;
        m_strBuffer += '}';
        separator = ",";
    }
    m_strBuffer += "]}\n";
}

void ResultWriter::appendNumber(double in_dValue)
{
    char text[32];
    m_strBuffer.append(text, std::to_chars(text, text + sizeof(text), in_dValue).ptr);
}

bool ResultWriter::writeEnd(double in_dTime, std::uint64_t in_uiWindows, std::uint64_t in_uiLeftOver)
{
    m_strBuffer += m_bJson ? "{\"end\":" : "# end at ";
    appendNumber(in_dTime);
    m_strBuffer += m_bJson ? ",\"windows\":" : " s, windows: ";
    m_strBuffer += std::to_string(in_uiWindows);
    m_strBuffer += m_bJson ? ",\"left_over\":" : ", samples left over: ";
    m_strBuffer += std::to_string(in_uiLeftOver);
    m_strBuffer += m_bJson ? "}\n" : "\n";
    return send();
}

bool ResultWriter::send()
{
    std::cout.write(m_strBuffer.data(), static_cast<std::streamsize>(m_strBuffer.size()));
    m_strBuffer.clear();
    if (m_bFlush)
        std::cout.flush();
    return std::cout.good();
}

} // namespace Vexalor::MachineLearning

#pragma once

#include <cstdint>
#include <string>

namespace Vexalor
{

/// A label that names a tone of one frequency: "SF:1000" or "1000 Hz". The letters may be of any case; blanks
/// may stand between number and unit and nowhere else. Frequencies are whole numbers of Hz from 1 to 2^32
/// - 1.
class SingleFrequencyAnnotationImpl
{
public:
    /// False, with the object unchanged, for anything but such a label; a bare number is none.
    bool setLabel(const std::string& in_strLabel);

    const std::string& getLabel() const { return m_strLabel; }
    /// Hz; 0 before a label was set.
    std::uint32_t getFrequency() const { return m_uiFrequency; }

private:
    std::string m_strLabel;
    std::uint32_t m_uiFrequency = 0;
};

/// A label that names an amplitude-modulated tone by its carrier and its modulating frequency: "AM:1000:20"
/// or "AM 1000/20 Hz", under the same rules.
class AmplitudeModulatedAnnotationImpl
{
public:
    /// False, with the object unchanged, for anything but such a label.
    bool setLabel(const std::string& in_strLabel);

    const std::string& getLabel() const { return m_strLabel; }
    /// Hz; 0 before a label was set.
    std::uint32_t getCarrierFreq() const { return m_uiCarrierFreq; }
    /// Hz; 0 before a label was set.
    std::uint32_t getModulatedFreq() const { return m_uiModulatedFreq; }

private:
    std::string m_strLabel;
    std::uint32_t m_uiCarrierFreq = 0;
    std::uint32_t m_uiModulatedFreq = 0;
};

} // namespace Vexalor

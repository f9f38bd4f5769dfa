// cLameEncoderVersion: a read-only view of the encoder's version record, taken once at creation.
#pragma once

#include "encoding/lame_shim.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace velvora::encoding {

class cLameEncoderVersion {
  public:
    cLameEncoderVersion();

    std::uint8_t DllMajorVersion() const { return m_tVersion.dllMajor; }
    std::uint8_t DllMinorVersion() const { return m_tVersion.dllMinor; }
    std::uint8_t MajorVersion() const { return m_tVersion.major; }
    std::uint8_t MinorVersion() const { return m_tVersion.minor; }
    // No value when the record's day, month and year make no date.
    const std::optional<std::chrono::year_month_day>& ReleaseDate() const { return m_dReleaseDate; }
    const std::string& HomePage() const { return m_sHomePage; }
    std::uint8_t AlphaLevel() const { return m_tVersion.alphaLevel; }
    std::uint8_t BetaLevel() const { return m_tVersion.betaLevel; }
    std::uint8_t MMXEnabled() const { return m_tVersion.mmxEnabled; }

    // The decoding of a record, apart from asking the library for one.
    explicit cLameEncoderVersion(const BeVersion& record);

  private:
    BeVersion m_tVersion{};
    std::optional<std::chrono::year_month_day> m_dReleaseDate;
    std::string m_sHomePage;
};

} // namespace velvora::encoding

#include "encoding/lame_encoder_version.h"

namespace velvora::encoding {

namespace {

BeVersion askLibrary() {
    BeVersion v{};
    beVersion(&v);
    return v;
}

// The home page starts at the area's third byte and runs to a zero, at most 128 characters.
constexpr std::size_t kHomePageFirst = 2, kHomePageLast = 129;

} // namespace

cLameEncoderVersion::cLameEncoderVersion() : cLameEncoderVersion(askLibrary()) {}

cLameEncoderVersion::cLameEncoderVersion(const BeVersion& record) : m_tVersion(record) {
    const int year = m_tVersion.yearAndHomePage[0] | m_tVersion.yearAndHomePage[1] << 8;
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(m_tVersion.month),
                                           std::chrono::day(m_tVersion.day)};
    if (date.ok()) m_dReleaseDate = date;
    for (std::size_t i = kHomePageFirst; i <= kHomePageLast && m_tVersion.yearAndHomePage[i] != 0; ++i)
        m_sHomePage += static_cast<char>(m_tVersion.yearAndHomePage[i]);
}

} // namespace velvora::encoding

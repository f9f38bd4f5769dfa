#include "core/utf8.h"

namespace velvora::utf8 {

QString toQString(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

std::u32string toText32(std::string_view utf8) {
    return toQString(utf8).toStdU32String();
}

std::string fromText32(std::u32string_view text) {
    return QString::fromUcs4(text.data(), static_cast<qsizetype>(text.size())).toStdString();
}

int charCount(std::string_view utf8) {
    int n = 0;
    for (unsigned char c : utf8)
        if ((c & 0xC0) != 0x80) ++n;
    return n;
}

} // namespace velvora::utf8

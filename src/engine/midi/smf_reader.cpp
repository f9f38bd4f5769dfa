#include "midi/smf_reader.h"

#include "api.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <limits>

namespace engine::midi {

namespace {

__extension__ typedef unsigned __int128 Wide;

constexpr std::uint64_t kMax64 = std::numeric_limits<std::uint64_t>::max();
// Larger than any real MIDI file by far; keeps every offset within 32 bits.
constexpr std::size_t kMaxFileBytes = std::size_t(1) << 28;

std::uint64_t saturate(Wide v) {
    return v > Wide(kMax64) ? kMax64 : static_cast<std::uint64_t>(v);
}

std::uint32_t be32(const std::uint8_t* p) {
    return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3];
}
std::uint32_t le32(const std::uint8_t* p) {
    return std::uint32_t(p[3]) << 24 | std::uint32_t(p[2]) << 16 | std::uint32_t(p[1]) << 8 | p[0];
}
std::uint16_t be16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] << 8 | p[1]);
}

// A variable-length number: at most four bytes of seven bits each. False when it runs past `end`
// or does not finish within four bytes.
bool readVlq(const std::uint8_t* data, std::size_t& pos, std::size_t end, std::uint32_t& value) {
    value = 0;
    for (int i = 0; i < 4; ++i) {
        if (pos >= end) return false;
        const std::uint8_t b = data[pos++];
        value = value << 7 | (b & 0x7f);
        if (!(b & 0x80)) return true;
    }
    return false;
}

} // namespace

std::uint64_t ticksToFrames(std::uint64_t ticks, std::uint32_t usPerQuarter, std::uint32_t division,
                            std::uint32_t rate) {
    const Wide den = Wide(division) * 1000000u;
    if (den == 0) return 0;
    const Wide num = Wide(ticks) * usPerQuarter * rate;
    return saturate((num + den - 1) / den);
}

std::uint64_t framesToTicks(std::uint64_t frames, std::uint32_t usPerQuarter, std::uint32_t division,
                            std::uint32_t rate) {
    const Wide den = Wide(usPerQuarter) * rate;
    if (den == 0) return 0;
    return saturate(Wide(frames) * division * 1000000u / den);
}

std::shared_ptr<const SmfFile> SmfFile::parse(const std::uint8_t* data, std::size_t size, int& error) {
    error = BASS_ERROR_FILEFORM;
    if (!data || size < 14 || size > kMaxFileBytes) return nullptr;
    auto file = std::make_shared<SmfFile>();
    file->bytes_.assign(data, data + size);
    if (!file->read(error)) return nullptr;
    error = 0;
    return file;
}

std::shared_ptr<const SmfFile> SmfFile::load(const std::string& path, int& error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = BASS_ERROR_FILEOPEN;
        return nullptr;
    }
    std::vector<std::uint8_t> bytes;
    char buffer[65536];
    while (in) {
        in.read(buffer, sizeof buffer);
        bytes.insert(bytes.end(), buffer, buffer + in.gcount());
        if (bytes.size() > kMaxFileBytes) {
            error = BASS_ERROR_FILEFORM;
            return nullptr;
        }
    }
    if (in.bad()) {
        error = BASS_ERROR_FILEOPEN;
        return nullptr;
    }
    return parse(bytes.data(), bytes.size(), error);
}

bool SmfFile::read(int& error) {
    error = BASS_ERROR_FILEFORM;
    const std::uint8_t* d = bytes_.data();
    std::size_t begin = 0, end = bytes_.size();

    // A RIFF MIDI file (RMID) carries the standard file in its "data" chunk.
    if (end >= 12 && std::memcmp(d, "RIFF", 4) == 0 && std::memcmp(d + 8, "RMID", 4) == 0) {
        std::size_t p = 12;
        bool found = false;
        while (p + 8 <= end) {
            const std::size_t len = le32(d + p + 4);
            if (std::memcmp(d + p, "data", 4) == 0) {
                begin = p + 8;
                end = std::min(end, begin + len);
                found = true;
                break;
            }
            p += 8 + len + (len & 1);
        }
        if (!found) return false;
    }

    if (end - begin < 14 || std::memcmp(d + begin, "MThd", 4) != 0) return false;
    const std::uint32_t headerLength = be32(d + begin + 4);
    if (headerLength < 6 || headerLength > end - begin - 8) return false;
    format_ = be16(d + begin + 8);
    if (format_ > 2) return false;
    declaredTracks_ = be16(d + begin + 10);
    const std::uint16_t division = be16(d + begin + 12);
    if (division & 0x8000) {
        const int fps = -static_cast<std::int8_t>(division >> 8);
        const int perFrame = division & 0xff;
        if ((fps != 24 && fps != 25 && fps != 29 && fps != 30) || perFrame == 0) return false;
        // 29 stands for 29.97 drop-frame; counted here as 30 frames a second.
        division_ = static_cast<std::uint32_t>((fps == 29 ? 30 : fps) * perFrame);
        smpte_ = true;
    } else {
        if (division == 0) return false;
        division_ = division;
    }

    std::vector<SmfEvent> all;
    std::vector<std::size_t> trackStarts; // where each track's events begin in `all`
    std::uint64_t sequenceStart = 0;      // format 2: where the next track begins
    std::size_t pos = begin + 8 + headerLength;
    while (end - pos >= 8) {
        const std::size_t length = be32(d + pos + 4);
        const std::size_t body = pos + 8;
        const bool isTrack = std::memcmp(d + pos, "MTrk", 4) == 0;
        std::size_t bodyEnd = body + length;
        if (length > end - body) {
            bodyEnd = end;
            damaged_ = true;
        }
        if (isTrack) {
            const std::uint32_t track = trackCount_++;
            trackStarts.push_back(all.size());
            const std::uint64_t offset = format_ == 2 ? sequenceStart : 0;
            std::uint64_t tick = 0;
            std::uint8_t running = 0;
            bool sawEnd = false;
            std::size_t p = body;
            while (p < bodyEnd) {
                std::uint32_t delta;
                if (!readVlq(d, p, bodyEnd, delta) || p >= bodyEnd) break;
                SmfEvent e;
                e.track = track;
                std::uint8_t status = d[p];
                if (status < 0x80) {
                    if (!running) break; // a data byte with no status to repeat
                    status = running;
                } else {
                    ++p;
                }
                e.status = status;
                if (status < 0xf0) {
                    const int count = (status & 0xf0) == 0xc0 || (status & 0xf0) == 0xd0 ? 1 : 2;
                    if (bodyEnd - p < static_cast<std::size_t>(count)) break;
                    if (d[p] & 0x80 || (count == 2 && d[p + 1] & 0x80)) break;
                    e.data1 = d[p];
                    e.data2 = count == 2 ? d[p + 1] : 0;
                    p += count;
                    running = status;
                } else if (status == 0xf0 || status == 0xf7 || status == 0xff) {
                    if (status == 0xff) {
                        if (p >= bodyEnd) break;
                        e.type = d[p++];
                    }
                    std::uint32_t len;
                    if (!readVlq(d, p, bodyEnd, len) || len > bodyEnd - p) break;
                    e.offset = static_cast<std::uint32_t>(p);
                    e.length = len;
                    p += len;
                } else {
                    break; // system common and real-time bytes have no place in a file
                }
                tick += delta;
                e.tick = offset + tick;
                all.push_back(e);
                if (e.isMeta(0x2f)) {
                    sawEnd = true;
                    break;
                }
            }
            if (!sawEnd) damaged_ = true;
            lengthTicks_ = std::max(lengthTicks_, offset + tick);
            sequenceStart = offset + tick;
        }
        if (bodyEnd == end) break;
        pos = bodyEnd;
    }
    if (trackCount_ == 0) return false;
    if (pos < end && end - pos < 8 && end - pos > 0) damaged_ = true;

    // Each track is in time order already: merging the tracks one after another keeps equal ticks
    // in track order, and costs far less than sorting when the tracks are few.
    const auto byTickThenTrack = [](const SmfEvent& a, const SmfEvent& b) {
        return a.tick < b.tick || (a.tick == b.tick && a.track < b.track);
    };
    if (trackStarts.size() <= 32) {
        for (std::size_t t = 1; t < trackStarts.size(); ++t) {
            const auto middle = all.begin() + static_cast<std::ptrdiff_t>(trackStarts[t]);
            const auto last = t + 1 < trackStarts.size()
                                  ? all.begin() + static_cast<std::ptrdiff_t>(trackStarts[t + 1])
                                  : all.end();
            std::inplace_merge(all.begin(), middle, last, byTickThenTrack);
        }
    } else {
        std::stable_sort(all.begin(), all.end(), byTickThenTrack);
    }
    events_ = std::move(all);

    tempos_.push_back({0, smpte_ ? 1000000u : kDefaultTempo});
    for (std::uint32_t i = 0; i < events_.size(); ++i) {
        const SmfEvent& e = events_[i];
        if (e.status != 0xff) continue;
        if (e.type == 0x05 || e.type == 0x01) {
            SmfMark mark{e.track, e.tick, i,
                         std::string(reinterpret_cast<const char*>(payload(e)), e.length)};
            (e.type == 0x05 ? lyrics_ : texts_).push_back(std::move(mark));
        } else if (e.type == 0x51 && e.length >= 3 && !smpte_) {
            const std::uint8_t* p = payload(e);
            const std::uint32_t us = std::uint32_t(p[0]) << 16 | std::uint32_t(p[1]) << 8 | p[2];
            if (us == 0) continue;
            if (tempos_.back().tick == e.tick)
                tempos_.back().usPerQuarter = us;
            else
                tempos_.push_back({e.tick, us});
        }
    }
    error = 0;
    return true;
}

TempoMap::TempoMap(const SmfFile& file, std::uint32_t rate) : rate_(rate), division_(file.division()) {
    for (const TempoPoint& t : file.tempos()) {
        if (segments_.empty()) {
            segments_.push_back({t.tick, 0, t.usPerQuarter});
            continue;
        }
        const Segment& prev = segments_.back();
        const std::uint64_t frames = ticksToFrames(t.tick - prev.tick, prev.usPerQuarter, division_, rate_);
        const std::uint64_t frame = frames > kMax64 - prev.frame ? kMax64 : prev.frame + frames;
        segments_.push_back({t.tick, frame, t.usPerQuarter});
    }
    if (segments_.empty()) segments_.push_back({});
}

const TempoMap::Segment& TempoMap::segmentAtTick(std::uint64_t tick) const {
    auto it = std::upper_bound(segments_.begin(), segments_.end(), tick,
                               [](std::uint64_t t, const Segment& s) { return t < s.tick; });
    return *(it == segments_.begin() ? it : it - 1);
}

std::uint64_t TempoMap::frameOfTick(std::uint64_t tick) const {
    const Segment& s = segmentAtTick(tick);
    const std::uint64_t frames = ticksToFrames(tick - s.tick, s.usPerQuarter, division_, rate_);
    return frames > kMax64 - s.frame ? kMax64 : s.frame + frames;
}

std::uint64_t TempoMap::tickOfFrame(std::uint64_t frame) const {
    auto it = std::upper_bound(segments_.begin(), segments_.end(), frame,
                               [](std::uint64_t f, const Segment& s) { return f < s.frame; });
    const Segment& s = *(it == segments_.begin() ? it : it - 1);
    const std::uint64_t ticks = framesToTicks(frame - s.frame, s.usPerQuarter, division_, rate_);
    return ticks > kMax64 - s.tick ? kMax64 : s.tick + ticks;
}

} // namespace engine::midi

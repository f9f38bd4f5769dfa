#include "streams/file_stream.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace engine {

struct MemoryIo {
    static sf_count_t length(void* user) { return static_cast<sf_count_t>(self(user).bytes_.size()); }
    static sf_count_t seek(sf_count_t offset, int whence, void* user) {
        FileStream& s = self(user);
        const auto size = static_cast<sf_count_t>(s.bytes_.size());
        sf_count_t to = whence == SEEK_SET ? offset : whence == SEEK_CUR ? s.memPos_ + offset : size + offset;
        s.memPos_ = std::clamp<sf_count_t>(to, 0, size);
        return s.memPos_;
    }
    static sf_count_t read(void* ptr, sf_count_t count, void* user) {
        FileStream& s = self(user);
        const auto size = static_cast<sf_count_t>(s.bytes_.size());
        const sf_count_t n = std::clamp<sf_count_t>(size - s.memPos_, 0, std::max<sf_count_t>(count, 0));
        if (n > 0) std::memcpy(ptr, s.bytes_.data() + s.memPos_, static_cast<std::size_t>(n));
        s.memPos_ += n;
        return n;
    }
    static sf_count_t write(const void*, sf_count_t, void*) { return 0; }
    static sf_count_t tell(void* user) { return self(user).memPos_; }
    static FileStream& self(void* user) { return *static_cast<FileStream*>(user); }
};

FileStream::~FileStream() {
    if (file_) sf_close(file_);
}

std::shared_ptr<FileStream> FileStream::open(const std::string& path, std::vector<char> bytes, DWORD flags,
                                             int& error) {
    auto s = std::make_shared<FileStream>();
    SF_INFO info{};
    if (bytes.empty()) {
        std::error_code ec;
        if (path.empty() || !std::filesystem::is_regular_file(path, ec)) {
            error = BASS_ERROR_FILEOPEN;
            return nullptr;
        }
        if (!std::ifstream(path, std::ios::binary)) {
            error = BASS_ERROR_FILEOPEN;
            return nullptr;
        }
        if (std::filesystem::file_size(path, ec) == 0) {
            error = BASS_ERROR_FILEFORM;
            return nullptr;
        }
        s->file_ = sf_open(path.c_str(), SFM_READ, &info);
        s->path = path;
    } else {
        s->bytes_ = std::move(bytes);
        static SF_VIRTUAL_IO io{&MemoryIo::length, &MemoryIo::seek, &MemoryIo::read, &MemoryIo::write,
                                &MemoryIo::tell};
        s->file_ = sf_open_virtual(&io, SFM_READ, &info, s.get());
    }
    if (!s->file_ || info.channels <= 0 || info.channels > 8 || info.samplerate <= 0 ||
        info.samplerate > 384000 || info.frames < 0) {
        error = BASS_ERROR_FILEFORM;
        return nullptr;
    }
    s->freq = static_cast<DWORD>(info.samplerate);
    s->chans = static_cast<DWORD>(info.channels);
    s->flags = flags;
    s->length_ = info.frames == SF_COUNT_MAX ? 0 : info.frames;
    switch (info.format & SF_FORMAT_TYPEMASK) {
    case SF_FORMAT_OGG:
        s->ctype = BASS_CTYPE_STREAM_OGG;
        break;
    case SF_FORMAT_FLAC:
        s->ctype = BASS_CTYPE_STREAM_FLAC;
        break;
    case SF_FORMAT_MPEG:
        s->ctype = BASS_CTYPE_STREAM_MP3;
        break;
    case SF_FORMAT_WAV:
    case SF_FORMAT_WAVEX:
        s->ctype = (info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_FLOAT ? BASS_CTYPE_STREAM_WAV_FLOAT
                                                                        : BASS_CTYPE_STREAM_WAV_PCM;
        break;
    default:
        s->ctype = BASS_CTYPE_STREAM;
    }
    switch (info.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_S8:
        s->bitsPerSample = 8;
        break;
    case SF_FORMAT_PCM_24:
        s->bitsPerSample = 24;
        break;
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_FLOAT:
        s->bitsPerSample = 32;
        break;
    default:
        s->bitsPerSample = 16;
    }
    return s;
}

unsigned FileStream::produce(float* out, unsigned frames, bool* ended) {
    const sf_count_t n = frames ? sf_readf_float(file_, out, frames) : 0;
    if (n <= 0) {
        *ended = frames > 0;
        // What the decoder managed is the length (a truncated or corrupt file ends early).
        if (pos_ > length_ || (frames > 0 && pos_ < length_)) length_ = pos_;
        return 0;
    }
    pos_ += n;
    if (pos_ > length_) length_ = pos_;
    return static_cast<unsigned>(n);
}

bool FileStream::seekFrame(std::uint64_t frame) {
    const auto to =
        static_cast<sf_count_t>(std::min<std::uint64_t>(frame, static_cast<std::uint64_t>(length_)));
    const sf_count_t got = sf_seek(file_, to, SEEK_SET);
    if (got < 0) {
        // A decoder that cannot seek: start over and read up to the frame.
        if (sf_seek(file_, 0, SEEK_SET) < 0) return false;
        pos_ = 0;
        std::vector<float> skip(4096 * chans);
        while (pos_ < to) {
            const sf_count_t n = sf_readf_float(file_, skip.data(), std::min<sf_count_t>(4096, to - pos_));
            if (n <= 0) break;
            pos_ += n;
        }
        return true;
    }
    pos_ = got;
    return true;
}

} // namespace engine

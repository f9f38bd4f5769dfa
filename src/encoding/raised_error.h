// The numbered errors the encoding classes raise: a number on the class's base, the source
// ("<program>.<routine or class>") and the text. Callers catch RaisedError and read the three.
#pragma once

#include <stdexcept>
#include <string>

namespace velvora::encoding {

class RaisedError : public std::runtime_error {
  public:
    RaisedError(int number, std::string source, std::string description)
        : std::runtime_error(description), number_(number), source_(std::move(source)),
          description_(std::move(description)) {}

    int number() const { return number_; }
    const std::string& source() const { return source_; }
    const std::string& description() const { return description_; }

  private:
    int number_;
    std::string source_;
    std::string description_;
};

// Bases of the three families.
constexpr int kWavReaderErrorBase = 29670;
constexpr int kLameErrorBase = 29770;
constexpr int kMp3WriterErrorBase = 29870;

// The WAV reader's errors (codes 1 to 9), all with the source "<appName>.cWavePlayer".
RaisedError wavReaderError(const std::string& appName, int code);
// The MP3 writer's errors (codes 1 to 5), with the source "<appName>.<routine>".
RaisedError mp3WriterError(const std::string& appName, const std::string& routine, int code);
// The encoder's errors. With `isLame` the code is a library status (1 to 5 have texts); without
// it, code 1 means no stream could be made. Codes without a text raise an empty description.
RaisedError lameError(const std::string& appName, const std::string& routine, int code, bool isLame);

} // namespace velvora::encoding

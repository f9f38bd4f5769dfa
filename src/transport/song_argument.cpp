#include "transport/song_argument.h"

#include "transport/song_open.h"

#include <filesystem>
#include <iostream>

namespace velvora::transport {

std::vector<std::string> songArguments(int argc, const char* const* argv, const std::string& startFolder) {
    std::vector<std::string> arguments;
    for (int i = 1; i < argc && argv[i]; ++i) {
        const std::filesystem::path given(argv[i]);
        if (given.empty() || given.is_absolute())
            arguments.push_back(given.string());
        else
            arguments.push_back((std::filesystem::path(startFolder) / given).lexically_normal().string());
    }
    return arguments;
}

void openSongArgument(App& app, const std::vector<std::string>& arguments) {
    if (arguments.empty()) return;
    if (arguments.size() > 1) {
        std::cerr << "velvora: one song at a time; not opened:";
        for (std::size_t i = 1; i < arguments.size(); ++i) std::cerr << " " << arguments[i];
        std::cerr << "\n";
    }
    if (arguments.front().empty()) return;
    const std::string song = arguments.front();
    app.sys.clock.post([&app, song] { openChosenSong(app, song); });
}

} // namespace velvora::transport

// Start-up time: from process start to the Empty state with the default soundfont, median of five
// runs, beside the fluidsynth program rendering a one-note MIDI file with the same soundfont.
//
// The program is measured as a whole process (this file run with --child), so that loading,
// Qt's start, the engine's devices and the soundfont all count, as they do for a user.
#include "core/startup.h"
#include "engine/api.h"
#include "platform/qt/qt_printer.h"
#include "platform/qt/qt_services.h"
#include "ui/main_window.h"

#include <QApplication>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

int runChild(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    platform::QtDialogs dialogs;
    platform::QtClock clock;
    platform::QtProcess process;
    platform::QtPrinters printers;
    platform::Services services{dialogs, clock, process, printers};
    velvora::ui::MainWindow window(services);
    if (!velvora::Form_Initialize(window.app())) return 1;
    velvora::Form_Load(window.app());
    // The Empty state is reached; what follows is teardown.
    const int status = window.app().s.font ? 0 : 2;
    BASS_RecordFree();
    BASS_Free();
    return status;
}

double runMs(const std::vector<std::string>& args) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        std::vector<char*> argv;
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        freopen("/dev/null", "w", stdout);
        freopen("/dev/null", "w", stderr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "%s failed (status %d)\n", args[0].c_str(), status);
        std::exit(1);
    }
    return ms;
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

void writeOneNoteMidi(const fs::path& path) {
    const unsigned char bytes[] = {'M',  'T',  'h',  'd', 0,   0, 0, 6, 0,  0,    0,    1,  0,
                                   96,   'M',  'T',  'r', 'k', 0, 0, 0, 12, 0x00, 0x90, 60, 100, // note on
                                   0x60, 0x80, 60,   0, // note off a beat later
                                   0x00, 0xFF, 0x2F, 0x00};
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes), sizeof bytes);
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::string(argv[1]) == "--child") return runChild(argc, argv);

    const std::string font = "/usr/share/sounds/sf2/default-GM.sf2";
    if (!fs::exists(font)) {
        std::fprintf(stderr, "no default soundfont at %s\n", font.c_str());
        return 1;
    }
    const fs::path work = fs::temp_directory_path() / ("velvora-bench-startup-" + std::to_string(getpid()));
    fs::create_directories(work);
    writeOneNoteMidi(work / "one-note.mid");
    const std::string self = fs::canonical("/proc/self/exe").string();

    std::vector<double> ours, theirs;
    for (int i = 0; i < 5; ++i) {
        ours.push_back(runMs({self, "--child"}));
        theirs.push_back(runMs({"fluidsynth", "-ni", "-F", (work / "out.wav").string(), font,
                                (work / "one-note.mid").string()}));
    }
    fs::remove_all(work);
    const double o = median(ours), f = median(theirs);
    std::printf("velvora start to Empty state: median %.1f ms over 5 runs\n", o);
    std::printf("fluidsynth one-note render:   median %.1f ms over 5 runs\n", f);
    std::printf("RESULT startup ours_ms=%.1f fluidsynth_ms=%.1f ratio=%.3f\n", o, f, o / f);
    return 0;
}

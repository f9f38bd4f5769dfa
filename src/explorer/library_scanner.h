// Scans song folders on a thread of its own and hands what it reads to the UI thread.
//
// Threads: start(), stop() and wait() are called on the UI thread, which owns the object. The
// worker only walks folders and reads files (song_reader.h); each batch of records, the
// progress and the problems reach the UI thread as queued calls on this object, and the signals
// below are emitted there, never on the worker. A call queued by a scan that has since been
// stopped or replaced is dropped on arrival, so a late batch never mixes into a newer scan.
#pragma once

#include "explorer/song_record.h"

#include <QObject>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace velvora::explorer {

class LibraryScanner final : public QObject {
    Q_OBJECT
  public:
    ~LibraryScanner() override;

    // Scans `folders`; every path of `known` that the scan does not find again is reported as a
    // missing record. A scan already running is stopped first.
    void start(std::vector<std::string> folders, std::vector<std::string> known);
    // Asks the worker to end and waits for it; nothing it queued afterwards is delivered.
    void stop();
    // Waits for the worker to end by itself. Its queued calls are delivered by the event loop.
    void wait();
    bool running() const { return running_; }

  signals:
    void progress(int done, int total);
    void songsRead(const std::vector<velvora::explorer::SongRecord>& songs);
    void problem(const QString& text);
    void finished(int songs);

  private:
    void work(unsigned generation, std::vector<std::string> folders, std::vector<std::string> known);
    // Runs `fn` on the UI thread unless the scan that queued it is no longer the current one.
    template <class Fn>
    void deliver(unsigned generation, Fn fn);

    std::thread worker_;
    std::atomic<bool> stop_{false};
    std::atomic<unsigned> generation_{0};
    bool running_ = false;
};

} // namespace velvora::explorer

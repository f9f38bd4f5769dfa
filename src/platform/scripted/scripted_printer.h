// Printers for tests: every job keeps what it was asked to do, and a job can be made to fail at
// a given line.
#pragma once

#include "platform/printer.h"

#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace platform {

// One print job as the logic drove it.
class ScriptedPrinter final : public Printer {
  public:
    void setFontSize(double points) override;
    void setCurrentX(double twips) override;
    bool printLine(const std::string& text) override;
    bool endDoc() override;

    // "size N" and "x N" in the order they came.
    std::vector<std::string> calls;
    // The lines printed, as given.
    std::vector<std::string> lines;
    bool ended = false;
    // The line (counted from 0) whose printing fails; -1 for none.
    int failAt = -1;
};

// The machine's printer: each job it opens is kept in jobs(), in order.
class ScriptedPrinters final : public Printers {
  public:
    std::unique_ptr<Printer> open() override;
    const std::deque<ScriptedPrinter>& jobs() const { return jobs_; }
    // The next jobs fail at this line (-1: they do not fail).
    void failAt(int line) { failAt_ = line; }

  private:
    std::deque<ScriptedPrinter> jobs_;
    int failAt_ = -1;
};

} // namespace platform

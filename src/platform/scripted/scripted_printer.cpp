#include "platform/scripted/scripted_printer.h"

namespace platform {

void ScriptedPrinter::setFontSize(double points) {
    calls.push_back("size " + std::to_string(static_cast<int>(points)));
}

void ScriptedPrinter::setCurrentX(double twips) {
    calls.push_back("x " + std::to_string(static_cast<int>(twips)));
}

bool ScriptedPrinter::printLine(const std::string& text) {
    if (static_cast<int>(lines.size()) == failAt) return false;
    lines.push_back(text);
    return true;
}

bool ScriptedPrinter::endDoc() {
    ended = true;
    return true;
}

namespace {

// The job handed to the logic: it drives the kept record, which outlives it.
class JobPrinter final : public Printer {
  public:
    explicit JobPrinter(ScriptedPrinter& job) : job_(job) {}
    void setFontSize(double points) override { job_.setFontSize(points); }
    void setCurrentX(double twips) override { job_.setCurrentX(twips); }
    bool printLine(const std::string& text) override { return job_.printLine(text); }
    bool endDoc() override { return job_.endDoc(); }

  private:
    ScriptedPrinter& job_;
};

} // namespace

std::unique_ptr<Printer> ScriptedPrinters::open() {
    ScriptedPrinter& job = jobs_.emplace_back();
    job.failAt = failAt_;
    return std::make_unique<JobPrinter>(job);
}

} // namespace platform

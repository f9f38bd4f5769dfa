// Dialogs whose answers a test queues in advance. Every box shown is recorded; a box with no
// queued answer is recorded as unexpected and answered with its default (OK, cancel, empty).
#pragma once

#include "platform/dialogs.h"

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace platform {

struct ShownBox {
    enum Kind { Message, Input, Open, Save, Folder } kind;
    std::string text;    // message or prompt
    std::string caption; // caption or dialog title
    int style = 0;       // message style, or file dialog flags
    std::string filter;  // file dialogs
    std::string initialFolder;
};

class ScriptedDialogs final : public Dialogs {
  public:
    // Queue answers, consumed in order by whichever box comes next.
    void answer(int msgBoxResult) { msgAnswers_.push_back(msgBoxResult); }
    void answerInput(std::string text) { inputAnswers_.push_back(std::move(text)); }
    // A file or folder name, or no value for a cancel.
    void answerFile(std::optional<std::string> path) { fileAnswers_.push_back(std::move(path)); }

    int msgBox(const std::string& text, int style, const std::string& caption) override;
    std::string inputBox(const std::string& prompt, const std::string& title,
                         const std::string& def) override;
    std::optional<std::string> openFile(const FileDialogRequest& request) override;
    std::optional<std::string> saveFile(const FileDialogRequest& request) override;
    std::optional<std::string> chooseFolder(const FileDialogRequest& request) override;

    const std::vector<ShownBox>& shown() const { return shown_; }
    const std::vector<ShownBox>& unexpected() const { return unexpected_; }
    bool allAnswersUsed() const {
        return msgAnswers_.empty() && inputAnswers_.empty() && fileAnswers_.empty();
    }
    void clear();

  private:
    std::optional<std::string> file(ShownBox::Kind kind, const FileDialogRequest& request);

    std::deque<int> msgAnswers_;
    std::deque<std::string> inputAnswers_;
    std::deque<std::optional<std::string>> fileAnswers_;
    std::vector<ShownBox> shown_;
    std::vector<ShownBox> unexpected_;
};

} // namespace platform

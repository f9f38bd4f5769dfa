#include "platform/scripted/scripted_dialogs.h"

namespace platform {

namespace {

int defaultResult(int style) {
    switch (style & 7) {
    case vbYesNoCancel:
        return vbCancel;
    case vbYesNo:
        return vbNo;
    case vbOKCancel:
        return vbCancel;
    default:
        return vbOK;
    }
}

} // namespace

int ScriptedDialogs::msgBox(const std::string& text, int style, const std::string& caption) {
    ShownBox box{ShownBox::Message, text, caption, style, {}, {}};
    shown_.push_back(box);
    if (msgAnswers_.empty()) {
        unexpected_.push_back(box);
        return defaultResult(style);
    }
    const int r = msgAnswers_.front();
    msgAnswers_.pop_front();
    return r;
}

std::string ScriptedDialogs::inputBox(const std::string& prompt, const std::string& title,
                                      const std::string&) {
    ShownBox box{ShownBox::Input, prompt, title, 0, {}, {}};
    shown_.push_back(box);
    if (inputAnswers_.empty()) {
        unexpected_.push_back(box);
        return {};
    }
    std::string r = std::move(inputAnswers_.front());
    inputAnswers_.pop_front();
    return r;
}

std::optional<std::string> ScriptedDialogs::file(ShownBox::Kind kind, const FileDialogRequest& request) {
    ShownBox box{kind, {}, request.title, request.flags, request.filter, request.initialFolder};
    shown_.push_back(box);
    if (fileAnswers_.empty()) {
        unexpected_.push_back(box);
        return std::nullopt;
    }
    std::optional<std::string> r = std::move(fileAnswers_.front());
    fileAnswers_.pop_front();
    return r;
}

std::optional<std::string> ScriptedDialogs::openFile(const FileDialogRequest& request) {
    return file(ShownBox::Open, request);
}

std::optional<std::string> ScriptedDialogs::saveFile(const FileDialogRequest& request) {
    return file(ShownBox::Save, request);
}

std::optional<std::string> ScriptedDialogs::chooseFolder(const FileDialogRequest& request) {
    return file(ShownBox::Folder, request);
}

void ScriptedDialogs::clear() {
    msgAnswers_.clear();
    inputAnswers_.clear();
    fileAnswers_.clear();
    shown_.clear();
    unexpected_.clear();
}

} // namespace platform

// Message, input and file boxes as the program's logic asks for them.
#pragma once

#include <optional>
#include <string>

namespace platform {

// Message box styles: buttons in the low bits, icon in 0x70.
constexpr int vbOKOnly = 0;
constexpr int vbOKCancel = 1;
constexpr int vbYesNoCancel = 3;
constexpr int vbYesNo = 4;
constexpr int vbCritical = 16;
constexpr int vbQuestion = 32;
constexpr int vbExclamation = 48;
constexpr int vbInformation = 64;

// Message box results.
constexpr int vbOK = 1;
constexpr int vbCancel = 2;
constexpr int vbYes = 6;
constexpr int vbNo = 7;

// File dialog flags the program uses.
constexpr int ofnOverwritePrompt = 0x2;
constexpr int ofnHideReadOnly = 0x4;
constexpr int ofnFileMustExist = 0x1000;
constexpr int ofnExplorer = 0x80000;

struct FileDialogRequest {
    std::string title;
    // "Description|*.a;*.b|Other|*.c"
    std::string filter;
    std::string initialFolder;
    std::string defaultExt;
    std::string fileName;
    int flags = 0;
};

class Dialogs {
  public:
    virtual ~Dialogs() = default;
    virtual int msgBox(const std::string& text, int style, const std::string& caption) = 0;
    // Empty when cancelled.
    virtual std::string inputBox(const std::string& prompt, const std::string& title,
                                 const std::string& def) = 0;
    // No value when cancelled.
    virtual std::optional<std::string> openFile(const FileDialogRequest& request) = 0;
    virtual std::optional<std::string> saveFile(const FileDialogRequest& request) = 0;
    // A folder to open: request.title and request.initialFolder count. The name comes back in the
    // file system's bytes. No value when cancelled.
    virtual std::optional<std::string> chooseFolder(const FileDialogRequest& request) = 0;
};

} // namespace platform

#pragma once
// The package maker's window logic: the song's details saved as the package's information text,
// then the song, its lyric, the two encoded tracks of TMPK and the take's score (when the singer
// was scored) written as one package.
#include "core/app.h"
#include "package/zip_archive.h"

#include <functional>
#include <optional>
#include <string>

namespace velvora::widgets {
struct Form1Controls;
}

namespace velvora::package {

class PackageMaker {
  public:
    PackageMaker(App& app, widgets::Form1Controls& ui);

    void Form_Load();
    void TxtTitle_Change();
    void CmdSalva_Click();
    void Command5_Click();
    void Command2_Click();
    void CmdSave_Click();
    void password_Validate();
    void Check1_Validate();

    const std::string& nomeBrano() const { return nomeBrano_; }
    const std::string& lrcText() const { return lrcText_; }
    ZipArchive& archive() { return zip_; }

    // Closes the window; the window fills it in.
    std::function<void()> unload;

  private:
    std::string tmpk(const std::string& name) const;
    // The save dialog of the package's name; empty on a cancel.
    std::optional<std::string> askPackageName(const std::string& fileName);
    void trapped(const std::string& text);
    // The take's score, when it has one, into the package beside its information text.
    bool carryTakeScore(std::string& error);

    App& app_;
    widgets::Form1Controls& ui_;
    ZipArchive zip_;
    std::string nomeBrano_;
    std::string lrcText_;
    std::string zipSource_;
};

} // namespace velvora::package

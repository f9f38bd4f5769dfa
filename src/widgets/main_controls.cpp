#include "widgets/main_controls.h"

#include "widgets/lyricpicture.h"
#include "widgets/words_full_screen.h"

#include <QBoxLayout>
#include <QEvent>
#include <QGridLayout>
#include <QMainWindow>

namespace velvora::widgets {

namespace {

// Keeps a caption shown exactly while the control it names is shown, so that the layouts of the
// song kinds, which switch the controls, leave no caption standing over an empty place.
class CaptionFollower final : public QObject {
  public:
    CaptionFollower(QWidget* caption, QWidget* control) : QObject(control), caption_(caption) {
        control->installEventFilter(this);
        caption_->setVisible(!control->isHidden());
    }

  protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::ShowToParent) caption_->setVisible(true);
        if (event->type() == QEvent::HideToParent) caption_->setVisible(false);
        return false;
    }

  private:
    QWidget* caption_;
};

// Puts two buttons of a row on one spot, the place of the first: whichever of them is shown stands
// there, so that a pair of which only one is meant to be seen never shows side by side.
void onOneSpot(QWidget* first, QWidget* second) {
    QWidget* parent = first->parentWidget();
    if (!parent || !parent->layout()) return;
    QBoxLayout* row = nullptr;
    for (QBoxLayout* box : parent->findChildren<QBoxLayout*>())
        if (box->indexOf(first) >= 0 && box->indexOf(second) >= 0) row = box;
    if (!row) return;
    const int place = row->indexOf(first);
    row->removeWidget(first);
    row->removeWidget(second);
    auto* spot = new QWidget(parent);
    spot->setObjectName(first->objectName() + "Spot");
    auto* grid = new QGridLayout(spot);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->addWidget(first, 0, 0);
    grid->addWidget(second, 0, 0);
    row->insertWidget(place, spot);
}

} // namespace

MainControls::MainControls(QMainWindow* mainWindow) : window(mainWindow) {
    setupUi(window);
    Slider2 = {Slider2_0, Slider2_1, Slider2_2,  Slider2_3,  Slider2_4,  Slider2_5,  Slider2_6,  Slider2_7,
               Slider2_8, Slider2_9, Slider2_10, Slider2_11, Slider2_12, Slider2_13, Slider2_14, Slider2_15};
    Check1 = {Check1_0, Check1_1, Check1_2,  Check1_3,  Check1_4,  Check1_5,  Check1_6,  Check1_7,
              Check1_8, Check1_9, Check1_10, Check1_11, Check1_12, Check1_13, Check1_14, Check1_15};
    Label3 = {Label3_0, Label3_1, Label3_2,  Label3_3,  Label3_4,  Label3_5,  Label3_6,  Label3_7,
              Label3_8, Label3_9, Label3_10, Label3_11, Label3_12, Label3_13, Label3_14, Label3_15};
    SldEq = {SldEq_0, SldEq_1, SldEq_2, SldEq_3, SldEq_4, SldEq_5, SldEq_6};
    SldMp3 = {SldMp3_0, SldMp3_1};
    Slider3 = {Slider3_0};
    vcompr = {vcompr_0, vcompr_1};
    vseq = {vseq_0, vseq_1, vseq_2, vseq_3, vseq_4, vseq_5, vseq_6, vseq_7};
    LblTm = {LblTm_0, LblTm_1};
    Cmd_432M = {Cmd_432M_0, Cmd_432M_1};
    Sldphaser = {nullptr, Sldphaser_1};
    const std::pair<QWidget*, QWidget*> captions[] = {
        {cap5, SldMp3_0},  {cap6, SldMp3_1},  {cap7, HscrollTempo}, {cap8, Hstempo},
        {cap15, SldTempo}, {cap16, Vscroll1}, {cap18, Sldvol},      {cap19, SldVolume}};
    for (const auto& [caption, control] : captions) new CaptionFollower(caption, control);
    // A slider drawn upside down moves up with the wheel turned up and with the Up key.
    for (Slider* slider : window->findChildren<Slider*>())
        slider->setInvertedControls(slider->invertedAppearance());
    Sldposition->setSeekBar(true);
    onOneSpot(Cmd_play, CmdPlw);
    onOneSpot(Cmd_Stop, CmdStw);
    // The singer's screen belongs to the main window and goes with it; it starts hidden.
    frmWordsFullScreen = new WordsFullScreen(window);
    Picture3->setCompanion(frmWordsFullScreen->page());
}

} // namespace velvora::widgets

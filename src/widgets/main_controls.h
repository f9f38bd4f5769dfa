#pragma once

#include "ui_frmMain.h"
#include "widgets/slider.h"

#include <array>

class QMainWindow;

namespace velvora::widgets {

class WordsFullScreen;

// The main window's controls, by their own names, with the indexed ones gathered into arrays.
struct MainControls : public Ui::frmMain {
    explicit MainControls(QMainWindow* window); // setupUi(window), then fills the arrays

    QMainWindow* window;
    std::array<Slider*, 16> Slider2;
    std::array<QCheckBox*, 16> Check1;
    std::array<QLabel*, 16> Label3;
    std::array<Slider*, 7> SldEq;
    std::array<Slider*, 2> SldMp3;
    std::array<Slider*, 2> Sldphaser; // only index 1 exists; [0] is nullptr
    std::array<Slider*, 1> Slider3;
    std::array<Slider*, 2> vcompr;
    std::array<Slider*, 8> vseq;
    std::array<QLabel*, 2> LblTm;
    std::array<QPushButton*, 2> Cmd_432M;
    // The full-screen lyric window that CmdKara shows and hides.
    WordsFullScreen* frmWordsFullScreen = nullptr;
};

} // namespace velvora::widgets

// The printer on Qt: the system's default printer, or with none the print dialog, which offers
// printing to a PDF file; or straight to a PDF file.
#pragma once

#include "platform/printer.h"

#include <memory>
#include <string>

class QPainter;
class QPrinter;
class QString;
class QWidget;

namespace platform {

class QtPrinter final : public Printer {
  public:
    // Prints to the default printer; where the machine has none, the print dialog comes up on the
    // first line printed, with `parent` as its parent.
    explicit QtPrinter(QWidget* parent);
    // Prints to the PDF file at `path`, with no dialog.
    static std::unique_ptr<QtPrinter> toPdf(const std::string& path);
    ~QtPrinter() override;

    void setFontSize(double points) override;
    void setCurrentX(double twips) override;
    bool printLine(const std::string& text) override;
    bool endDoc() override;

  private:
    bool begin();
    void drawOneLine(const QString& text);

    QWidget* parent_ = nullptr;
    std::string pdfPath_;
    std::unique_ptr<QPrinter> printer_;
    std::unique_ptr<QPainter> painter_;
    double points_ = 12;
    double xTwips_ = 0;
    double y_ = 0;
    bool failed_ = false;
};

// Jobs on the default printer, their dialogs parented to the main window once it is known.
class QtPrinters final : public Printers {
  public:
    void setParent(QWidget* parent) { parent_ = parent; }
    std::unique_ptr<Printer> open() override;

  private:
    QWidget* parent_ = nullptr;
};

} // namespace platform

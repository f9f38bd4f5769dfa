#include "platform/qt/qt_printer.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <QStringList>

namespace platform {

namespace {
constexpr double kTwipsPerInch = 1440.0;
}

QtPrinter::QtPrinter(QWidget* parent) : parent_(parent) {}

std::unique_ptr<QtPrinter> QtPrinter::toPdf(const std::string& path) {
    auto printer = std::make_unique<QtPrinter>(nullptr);
    printer->pdfPath_ = path;
    return printer;
}

QtPrinter::~QtPrinter() {
    if (painter_ && painter_->isActive()) {
        printer_->abort();
        painter_->end();
    }
}

void QtPrinter::setFontSize(double points) {
    points_ = points;
}

void QtPrinter::setCurrentX(double twips) {
    xTwips_ = twips;
}

bool QtPrinter::begin() {
    if (painter_) return !failed_;
    printer_ = std::make_unique<QPrinter>(QPrinter::HighResolution);
    if (!pdfPath_.empty()) {
        printer_->setOutputFormat(QPrinter::PdfFormat);
        printer_->setOutputFileName(QString::fromStdString(pdfPath_));
    } else if (QPrinterInfo::defaultPrinter().isNull()) {
        // No printer: the print dialog, where the user can choose a PDF file instead.
        QPrintDialog dialog(printer_.get(), parent_);
        if (dialog.exec() != QDialog::Accepted) failed_ = true;
    }
    painter_ = std::make_unique<QPainter>();
    if (!failed_ && !painter_->begin(printer_.get())) failed_ = true;
    return !failed_;
}

void QtPrinter::drawOneLine(const QString& text) {
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(points_);
    painter_->setFont(font);
    const QFontMetricsF metrics(font, printer_.get());
    const double pageHeight = printer_->pageLayout().paintRectPixels(printer_->resolution()).height();
    if (y_ > 0 && y_ + metrics.height() > pageHeight) {
        if (!printer_->newPage()) failed_ = true;
        y_ = 0;
    }
    const double x = xTwips_ / kTwipsPerInch * printer_->resolution();
    if (!text.isEmpty()) painter_->drawText(QPointF(x, y_ + metrics.ascent()), text);
    y_ += metrics.lineSpacing();
    xTwips_ = 0;
}

bool QtPrinter::printLine(const std::string& text) {
    if (!begin()) return false;
    QString all = QString::fromStdString(text);
    all.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    all.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    for (const QString& line : all.split(QLatin1Char('\n'))) drawOneLine(line);
    return !failed_;
}

bool QtPrinter::endDoc() {
    if (!begin()) return false;
    const bool ended = painter_->end();
    return ended && !failed_;
}

std::unique_ptr<Printer> QtPrinters::open() {
    return std::make_unique<QtPrinter>(parent_);
}

} // namespace platform

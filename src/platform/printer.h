// A print job as the logic drives it: a font size, where a line starts, lines of text, and the
// end of the document. The document begins with the first line printed.
#pragma once

#include <memory>
#include <string>

namespace platform {

class Printer {
  public:
    virtual ~Printer() = default;
    // Size in points of the text printed from now on.
    virtual void setFontSize(double points) = 0;
    // Where the next line begins, in twips (1/1440 inch) from the left of the printable area.
    // Every printed line brings it back to 0 for the line after it.
    virtual void setCurrentX(double twips) = 0;
    // Prints `text` and moves down one line; line breaks in the text start new lines, and a full
    // page goes on to the next. False when the job cannot go on.
    virtual bool printLine(const std::string& text) = 0;
    // Ends the document and hands it to the printer; false when that fails. A job that is not
    // ended is abandoned.
    virtual bool endDoc() = 0;
};

// The machine's default printer, one job at a time.
class Printers {
  public:
    virtual ~Printers() = default;
    // A new job on the default printer.
    virtual std::unique_ptr<Printer> open() = 0;
};

} // namespace platform

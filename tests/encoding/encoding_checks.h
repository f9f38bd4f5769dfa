// Checks shared by the encoding tests: a raised error's three parts, and a Qt application for the
// tests that use widgets.
#pragma once

#include "encoding/raised_error.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace enctest {

// `f` must raise a RaisedError with this number, source and text.
inline void expectRaised(int number, const std::string& source, const std::string& text,
                         const std::function<void()>& f) {
    try {
        f();
        ADD_FAILURE() << "no error raised; expected " << number << " " << text;
    } catch (const velvora::encoding::RaisedError& e) {
        EXPECT_EQ(e.number(), number);
        EXPECT_EQ(e.source(), source);
        EXPECT_EQ(e.description(), text);
    }
}

inline void ensureQtApplication() {
    static int argc = 1;
    static char name[] = "encoding_tests";
    static char* argv[] = {name, nullptr};
    if (!QApplication::instance()) new QApplication(argc, argv);
}

} // namespace enctest

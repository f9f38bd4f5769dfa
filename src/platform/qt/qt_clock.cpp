#include "platform/qt/qt_services.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <QTimer>

namespace platform {

namespace {

QElapsedTimer& elapsed() {
    static QElapsedTimer t;
    if (!t.isValid()) t.start();
    return t;
}

class QtTimer final : public Timer {
  public:
    QtTimer(int interval, bool enabled) {
        timer_.setTimerType(interval <= 50 ? Qt::PreciseTimer : Qt::CoarseTimer);
        timer_.setInterval(interval);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            if (onTick) onTick();
        });
        setEnabled(enabled);
    }
    void setInterval(int ms) override {
        timer_.setTimerType(ms <= 50 ? Qt::PreciseTimer : Qt::CoarseTimer);
        timer_.setInterval(ms);
    }
    int interval() const override { return timer_.interval(); }
    void setEnabled(bool on) override {
        if (on && !timer_.isActive()) timer_.start();
        if (!on) timer_.stop();
    }
    bool enabled() const override { return timer_.isActive(); }

  private:
    QTimer timer_;
};

} // namespace

QtClock::QtClock() : start_(elapsed().elapsed()) {}

long long QtClock::nowMs() {
    return elapsed().elapsed() - start_;
}

void QtClock::sleep(int ms) {
    if (ms > 0) QThread::msleep(static_cast<unsigned long>(ms));
}

void QtClock::doEvents() {
    QCoreApplication::processEvents();
}

std::unique_ptr<Timer> QtClock::makeTimer(int intervalMs, bool enabled) {
    return std::make_unique<QtTimer>(intervalMs, enabled);
}

void QtClock::post(std::function<void()> fn) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(fn), Qt::QueuedConnection);
}

void QtClock::waitThen(int ms, std::function<void()> fn) {
    if (ms > 0) QThread::msleep(static_cast<unsigned long>(ms));
    if (fn) fn();
}

} // namespace platform

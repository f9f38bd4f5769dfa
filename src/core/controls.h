// Small helpers for reading and writing control state the way the routines think of it.
#pragma once

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QWidget>

#include <initializer_list>
#include <string>

namespace velvora {

// Visible as the control's own flag says, whether or not its window is on screen.
inline bool shown(const QWidget* w) {
    return w && !w->isHidden();
}
inline void setShown(QWidget* w, bool on) {
    if (w) w->setVisible(on);
}
inline void setShown(std::initializer_list<QWidget*> widgets, bool on) {
    for (QWidget* w : widgets) setShown(w, on);
}
inline void setEnabled(QWidget* w, bool on) {
    if (w) w->setEnabled(on);
}
inline void setEnabled(QAction* a, bool on) {
    if (a) a->setEnabled(on);
}
inline void setEnabled(QMenu* m, bool on) {
    if (m) m->menuAction()->setEnabled(on);
}
inline bool enabled(const QMenu* m) {
    return m && m->menuAction()->isEnabled();
}
inline void setCaption(QLabel* l, const std::string& text) {
    if (l) l->setText(QString::fromStdString(text));
}
inline std::string caption(const QLabel* l) {
    return l ? l->text().toStdString() : std::string();
}

} // namespace velvora

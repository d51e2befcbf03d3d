// What a keyboard user meets in a window: the Alt+letters its controls claim, and the order in
// which Tab visits them.
#pragma once

#include <algorithm>
#include <map>

#include <QAbstractButton>
#include <QGroupBox>
#include <QKeySequence>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QStringList>
#include <QWidget>

namespace kelvora::testing {

namespace keyboard {

inline QString describe(const QObject& owner, const QString& text) {
    return owner.objectName() + QStringLiteral(" \"") + text + QLatin1Char('"');
}

inline void claim(std::map<int, QStringList>& owners, const QObject& owner, const QString& text) {
    const QKeySequence key = QKeySequence::mnemonic(text);
    if (!key.isEmpty()) owners[key[0].toCombined()].append(describe(owner, text));
}

inline QStringList clashes(const std::map<int, QStringList>& owners, const QString& where) {
    QStringList found;
    for (const auto& [key, names] : owners) {
        if (names.size() > 1) {
            found.append(where + QStringLiteral(": ") + QKeySequence(key).toString() +
                         QStringLiteral(" for ") + names.join(QStringLiteral(", ")));
        }
    }
    return found;
}

}  // namespace keyboard

// Every Alt+letter claimed twice in the window, and every letter claimed twice within one of
// its menus: of two claimants Qt only moves the focus between them, so the letter is lost.
// Hidden controls claim nothing.
inline QStringList mnemonicClashes(const QWidget& window) {
    std::map<int, QStringList> owners;
    QStringList found;
    for (const QWidget* widget : window.findChildren<QWidget*>()) {
        if (widget->window() != &window || !widget->isVisibleTo(&window)) continue;
        if (const auto* button = qobject_cast<const QAbstractButton*>(widget)) {
            keyboard::claim(owners, *button, button->text());
        } else if (const auto* label = qobject_cast<const QLabel*>(widget)) {
            if (label->buddy() != nullptr) keyboard::claim(owners, *label, label->text());
        } else if (const auto* box = qobject_cast<const QGroupBox*>(widget)) {
            keyboard::claim(owners, *box, box->title());
        } else if (const auto* bar = qobject_cast<const QMenuBar*>(widget)) {
            for (const QAction* action : bar->actions()) {
                if (!action->isVisible()) continue;
                keyboard::claim(owners, *action, action->text());
                const QMenu* menu = action->menu();
                if (menu == nullptr) continue;
                std::map<int, QStringList> items;
                for (const QAction* item : menu->actions())
                    if (item->isVisible()) keyboard::claim(items, *item, item->text());
                found += keyboard::clashes(items, menu->title());
            }
        }
    }
    return keyboard::clashes(owners, window.objectName()) + found;
}

// The controls Tab visits, from the window's first, once round.
inline QList<QWidget*> tabStops(QWidget& window) {
    QList<QWidget*> stops;
    for (QWidget* widget = window.nextInFocusChain(); widget != &window;
         widget = widget->nextInFocusChain()) {
        if (widget->window() == &window && widget->isVisibleTo(&window) && widget->isEnabled() &&
            (widget->focusPolicy() & Qt::TabFocus) != 0 && !stops.contains(widget))
            stops.append(widget);
    }
    return stops;
}

// The steps of Tab that go against reading order: to a control on the same row further left,
// or up to one that is not in a column further right. Tab from the last control back to the
// first is the one such step a window should have.
inline QStringList backwardTabSteps(QWidget& window) {
    const QList<QWidget*> stops = tabStops(window);
    QStringList found;
    const auto place = [&window](const QWidget* widget) {
        return QRect(widget->mapTo(&window, QPoint(0, 0)), widget->size());
    };
    for (qsizetype i = 0; i + 1 < stops.size(); ++i) {
        const QRect from = place(stops[i]);
        const QRect to = place(stops[i + 1]);
        const int tolerance = std::min(from.height(), to.height()) / 2;
        const bool sameRow = std::abs(to.center().y() - from.center().y()) <= tolerance;
        const bool forward =
            sameRow ? to.left() >= from.left()
                    : to.top() >= from.top() - tolerance || to.left() >= from.right() - tolerance;
        if (!forward) {
            found.append(stops[i]->objectName() + QStringLiteral(" -> ") +
                         stops[i + 1]->objectName());
        }
    }
    return found;
}

}  // namespace kelvora::testing

// Shows the window and fails the test where an Alt+letter is claimed twice or Tab goes against
// reading order, naming the controls.
#define KELVORA_VERIFY_KEYBOARD(window)                                            \
    do {                                                                           \
        (window).show();                                                           \
        QVERIFY(QTest::qWaitForWindowExposed(&(window)));                          \
        const QStringList faults = kelvora::testing::mnemonicClashes(window) +     \
                                   kelvora::testing::backwardTabSteps(window);     \
        QVERIFY2(faults.isEmpty(), qPrintable(faults.join(QStringLiteral("; ")))); \
    } while (false)

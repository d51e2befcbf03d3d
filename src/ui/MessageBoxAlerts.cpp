// Alerts shown with QMessageBox.
#include "ui/MessageBoxAlerts.h"

#include <algorithm>
#include <vector>

#include <QApplication>
#include <QClipboard>
#include <QGridLayout>
#include <QLabel>
#include <QMainWindow>
#include <QMessageBox>
#include <QPushButton>
#include <QShortcut>

namespace kelvora {

namespace {

// The window the alert belongs to. Right after a modal window has closed no window may be
// active yet, so the main window is the last resort.
QWidget* alertParent() {
    if (QWidget* modal = QApplication::activeModalWidget(); modal != nullptr && modal->isVisible())
        return modal;
    if (QWidget* active = QApplication::activeWindow(); active != nullptr) return active;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (qobject_cast<QMainWindow*>(widget) != nullptr && widget->isVisible()) return widget;
    }
    return nullptr;
}

// A mnemonic on the first letter (Alt+Y, Alt+N) without changing what the button says.
QString withMnemonic(const std::string& title) {
    QString text = QString::fromStdString(title);
    text.replace(QLatin1Char('&'), QLatin1String("&&"));
    return QLatin1Char('&') + text;
}

// A box with an empty message text sizes itself for the empty text, and wraps even a short
// sentence after a word or two; the empty label would also leave a gap above the sentence.
// A report's lines (a path and why it stayed) get room to stand on a line each where they can.
void giveRoomToRead(QMessageBox& box, const QString& text) {
    if (auto* empty = box.findChild<QLabel*>(QStringLiteral("qt_msgbox_label"))) empty->hide();
    auto* grid = qobject_cast<QGridLayout*>(box.layout());
    if (grid == nullptr) return;
    qsizetype longest = 0;
    for (const QString& line : text.split(QLatin1Char('\n')))
        longest = std::max(longest, line.size());
    const int width = box.fontMetrics().averageCharWidth() *
                      static_cast<int>(std::clamp<qsizetype>(longest, 50, 90));
    grid->addItem(new QSpacerItem(width, 0, QSizePolicy::Minimum, QSizePolicy::Fixed),
                  grid->rowCount(), 0, 1, grid->columnCount());
}

// Lines of a report beyond this go to the details only: a box taller than the screen would
// hide its own OK button.
constexpr qsizetype kShownLines = 15;

// Reports are meant to be kept or passed on: every sentence can be selected, Ctrl+C copies the
// whole text when nothing is selected, and a long report is shown whole in the details.
void letTheTextBeCopied(QMessageBox& box, const QString& text) {
    const QStringList lines = text.split(QLatin1Char('\n'));
    if (lines.size() > kShownLines) {
        box.setInformativeText(lines.mid(0, kShownLines).join(QLatin1Char('\n')) +
                               QStringLiteral("\n…"));
        box.setDetailedText(text);
    }
    if (auto* label = box.findChild<QLabel*>(QStringLiteral("qt_msgbox_informativelabel")))
        label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto* copy = new QShortcut(QKeySequence::Copy, &box);
    QObject::connect(copy, &QShortcut::activated, &box,
                     [text] { QGuiApplication::clipboard()->setText(text); });
}

}  // namespace

std::int64_t MessageBoxAlerts::runModal(const Alert& alert) {
    QMessageBox box(alertParent());
    box.setIcon(QMessageBox::Warning);
    box.setWindowTitle(QStringLiteral("Kelvora"));
    box.setText(QString());
    box.setInformativeText(QString::fromStdString(alert.informativeText));
    giveRoomToRead(box, box.informativeText());

    // One role for all keeps them in the order given: the desktop layouts sort by role.
    std::vector<QPushButton*> buttons;
    for (const std::string& title : alert.buttons) {
        buttons.push_back(box.addButton(withMnemonic(title), QMessageBox::ActionRole));
    }
    if (buttons.empty()) buttons.push_back(box.addButton(QMessageBox::Ok));
    // After the buttons, so that the details button comes after them.
    letTheTextBeCopied(box, QString::fromStdString(alert.informativeText));
    // Every yes-or-no question here asks before something is removed, forgotten or put back:
    // Return, like Escape, answers "No", so that no single key press does it.
    box.setDefaultButton(buttons.size() == 2 ? buttons.back() : buttons.front());
    // Escape and the close button answer "No" to a question; of a three-way question they
    // take the middle answer, the one that decides nothing ("Remind me later").
    const std::size_t dismissal = buttons.size() > 2 ? 1 : buttons.size() - 1;
    box.setEscapeButton(buttons[dismissal]);
    box.exec();

    const auto pressed = std::find(buttons.begin(), buttons.end(), box.clickedButton());
    const auto index =
        pressed == buttons.end() ? dismissal : static_cast<std::size_t>(pressed - buttons.begin());
    return kFirstButton + static_cast<std::int64_t>(index);
}

}  // namespace kelvora

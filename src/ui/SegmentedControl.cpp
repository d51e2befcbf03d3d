// Segments as checkable tool buttons side by side.
#include "ui/SegmentedControl.h"

#include <algorithm>

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QToolButton>

namespace kelvora {

SegmentedControl::SegmentedControl(QWidget* parent)
    : QWidget(parent), group_(new QButtonGroup(this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(group_, &QButtonGroup::idClicked, this, &SegmentedControl::segmentClicked);
}

void SegmentedControl::setSegments(const QStringList& titles) {
    for (QAbstractButton* button : group_->buttons()) {
        group_->removeButton(button);
        delete button;
    }
    QList<QToolButton*> buttons;
    for (qsizetype i = 0; i < titles.size(); ++i) {
        auto* button = new QToolButton(this);
        button->setText(titles[i]);
        button->setCheckable(true);
        button->setFocusPolicy(Qt::StrongFocus);
        button->setObjectName(QStringLiteral("segment%1").arg(i));
        button->installEventFilter(this);
        group_->addButton(button, static_cast<int>(i));
        layout()->addWidget(button);
        buttons.append(button);
    }
    // Segments of one width read as one control rather than as a row of separate buttons.
    int width = 0;
    for (QToolButton* button : buttons) width = std::max(width, button->sizeHint().width());
    for (QToolButton* button : buttons) button->setMinimumWidth(width + fontMetrics().height());
}

void SegmentedControl::setTabOrderBetween(QWidget* before, QWidget* after) {
    QWidget* previous = before;
    for (QAbstractButton* button : group_->buttons()) {
        setTabOrder(previous, button);
        previous = button;
    }
    setTabOrder(previous, after);
}

// The arrow keys only move the focus along the segments: as in a radio group they would also
// choose the next segment, and choosing is what applies a keep option (or opens the custom
// keep window). Space chooses.
bool SegmentedControl::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress) return QWidget::eventFilter(watched, event);
    const int key = static_cast<QKeyEvent*>(event)->key();
    const int step = key == Qt::Key_Left || key == Qt::Key_Up      ? -1
                     : key == Qt::Key_Right || key == Qt::Key_Down ? 1
                                                                   : 0;
    if (step == 0) return QWidget::eventFilter(watched, event);
    const QList<QAbstractButton*> buttons = group_->buttons();
    const auto at = buttons.indexOf(qobject_cast<QAbstractButton*>(watched));
    const auto next = at + step;
    if (at >= 0 && next >= 0 && next < buttons.size()) buttons[next]->setFocus(Qt::TabFocusReason);
    return true;
}

int SegmentedControl::selectedSegment() const {
    return group_->checkedId();
}

void SegmentedControl::setSelectedSegment(int segment) {
    if (QAbstractButton* button = group_->button(segment)) {
        button->setChecked(true);
        return;
    }
    // An exclusive group keeps one button on; leaving none needs the rule lifted for a moment.
    group_->setExclusive(false);
    for (QAbstractButton* button : group_->buttons()) button->setChecked(false);
    group_->setExclusive(true);
}

}  // namespace kelvora

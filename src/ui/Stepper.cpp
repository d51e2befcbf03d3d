// Two repeating arrow buttons stacked on each other.
#include "ui/Stepper.h"

#include <algorithm>
#include <cmath>

#include <QToolButton>
#include <QVBoxLayout>

namespace kelvora {

Stepper::Stepper(QWidget* parent) : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(makeArrow(Qt::UpArrow, 1, tr("Increase")));
    layout->addWidget(makeArrow(Qt::DownArrow, -1, tr("Decrease")));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
}

QToolButton* Stepper::makeArrow(Qt::ArrowType arrow, int steps, const QString& name) {
    auto* button = new QToolButton(this);
    button->setArrowType(arrow);
    button->setAutoRepeat(true);
    button->setAccessibleName(name);
    // The field beside the stepper takes the keyboard's arrows; the buttons need no focus.
    button->setFocusPolicy(Qt::NoFocus);
    const int height = std::max(fontMetrics().height() * 2 / 3, 8);
    button->setFixedSize(height * 3 / 2, height);
    button->setIconSize(QSize(height / 2, height / 2));
    connect(button, &QToolButton::clicked, this, [this, steps] { stepBy(steps); });
    return button;
}

void Stepper::stepBy(int steps) {
    const double next = std::isfinite(value_) ? value_ + steps * increment_ : minimum_;
    value_ = std::clamp(next, minimum_, maximum_);
    Q_EMIT stepped();
}

}  // namespace kelvora

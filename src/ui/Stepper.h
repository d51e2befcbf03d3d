// The small up and down arrows beside a number field: they step a value that the field beside
// them shows. The range and the increment belong to the window's layout.
#pragma once

#include <QWidget>

class QToolButton;

namespace kelvora {

class Stepper final : public QWidget {
    Q_OBJECT
    Q_PROPERTY(double minimum READ minimum WRITE setMinimum)
    Q_PROPERTY(double maximum READ maximum WRITE setMaximum)
    Q_PROPERTY(double increment READ increment WRITE setIncrement)
public:
    explicit Stepper(QWidget* parent = nullptr);

    double value() const { return value_; }
    // Takes the value as given; the next step brings it into the range.
    void setValue(double value) { value_ = value; }
    // Steps up (positive) or down and reports it as the user's change.
    void stepBy(int steps);

    double minimum() const { return minimum_; }
    void setMinimum(double minimum) { minimum_ = minimum; }
    double maximum() const { return maximum_; }
    void setMaximum(double maximum) { maximum_ = maximum; }
    double increment() const { return increment_; }
    void setIncrement(double increment) { increment_ = increment; }

Q_SIGNALS:
    void stepped();

private:
    QToolButton* makeArrow(Qt::ArrowType arrow, int steps, const QString& name);

    double value_ = 0;
    double minimum_ = 0;
    double maximum_ = 100;
    double increment_ = 1;
};

}  // namespace kelvora

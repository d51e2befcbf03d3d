// A row of exclusive buttons that reads as one control, like the keep options of the results
// window. Only the user's clicks are reported; setting the segment from code is silent.
#pragma once

#include <QStringList>
#include <QWidget>

class QButtonGroup;

namespace kelvora {

class SegmentedControl final : public QWidget {
    Q_OBJECT
public:
    explicit SegmentedControl(QWidget* parent = nullptr);

    // One button per title, numbered from 0; mnemonics in the titles work as usual.
    void setSegments(const QStringList& titles);
    int selectedSegment() const;  // -1 when none is selected
    void setSelectedSegment(int segment);
    // Puts the segments into the tab order between these two widgets.
    void setTabOrderBetween(QWidget* before, QWidget* after);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

Q_SIGNALS:
    // After the clicked segment became the selected one, even when it already was.
    void segmentClicked(int segment);

private:
    QButtonGroup* group_;
};

}  // namespace kelvora

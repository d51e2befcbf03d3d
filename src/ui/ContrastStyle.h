// Keeps check boxes, radio buttons and the chosen segment visible on a dark palette.
#pragma once

#include <QProxyStyle>

class QPalette;

namespace kelvora {

// A palette whose windows are darker than their text.
bool isDarkPalette(const QPalette& palette);

// Fusion draws the frames of check boxes and radio buttons, and the sunken look of a checked
// tool button, from the window colour made darker: on a dark palette they sink into the
// background, and an unchecked copy in the copies table all but disappears. Over Fusion on a
// dark palette this style draws them again in the text's colour; anything else it leaves to the
// style it wraps, so light palettes look exactly as before.
class ContrastStyle final : public QProxyStyle {
    Q_OBJECT
public:
    // Wraps the application's style as it is; takes over the application's style.
    static void install();

    explicit ContrastStyle(QStyle* base);
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget = nullptr) const override;

private:
    bool fusion_;
};

}  // namespace kelvora

// Frames redrawn over Fusion's where the palette is dark.
#include "ui/ContrastStyle.h"

#include <algorithm>

#include <QApplication>
#include <QPainter>
#include <QPalette>
#include <QStyleFactory>
#include <QStyleOption>

namespace kelvora {

namespace {

// Strong enough to read at a glance, soft enough not to outshine the text beside it.
constexpr int kFrameAlpha = 170;
constexpr int kCheckedFillAlpha = 110;

QColor withAlpha(QColor colour, int alpha) {
    colour.setAlpha(alpha);
    return colour;
}

}  // namespace

bool isDarkPalette(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() <
           palette.color(QPalette::WindowText).lightness();
}

void ContrastStyle::install() {
    QStyle* current = QApplication::style();
    QApplication::setStyle(new ContrastStyle(QStyleFactory::create(current->name())));
}

ContrastStyle::ContrastStyle(QStyle* base)
    : QProxyStyle(base),
      fusion_(base != nullptr &&
              base->name().compare(QLatin1String("fusion"), Qt::CaseInsensitive) == 0) {}

void ContrastStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option,
                                  QPainter* painter, const QWidget* widget) const {
    QProxyStyle::drawPrimitive(element, option, painter, widget);
    if (!fusion_ || !isDarkPalette(option->palette)) return;
    const QColor text = option->palette.color(QPalette::Text);
    switch (element) {
        case PE_IndicatorCheckBox:
        case PE_IndicatorItemViewItemCheck: {
            const QRect box =
                QRect(option->rect.topLeft(),
                      QSize(1, 1) * std::min(option->rect.width(), option->rect.height()));
            painter->save();
            painter->setRenderHint(QPainter::Antialiasing, false);
            painter->setBrush(Qt::NoBrush);
            painter->setPen(withAlpha(text, kFrameAlpha));
            painter->drawRect(box.adjusted(0, 0, -1, -1));
            painter->restore();
            break;
        }
        case PE_IndicatorRadioButton: {
            painter->save();
            painter->setRenderHint(QPainter::Antialiasing, true);
            painter->setBrush(Qt::NoBrush);
            painter->setPen(QPen(withAlpha(text, kFrameAlpha), 1.0));
            painter->drawEllipse(QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5));
            painter->restore();
            break;
        }
        case PE_PanelButtonTool:
            // The chosen segment of a segmented control, and any checked tool button.
            if ((option->state & State_On) != 0) {
                painter->fillRect(
                    option->rect.adjusted(1, 1, -1, -1),
                    withAlpha(option->palette.color(QPalette::Highlight), kCheckedFillAlpha));
            }
            break;
        default:
            break;
    }
}

}  // namespace kelvora

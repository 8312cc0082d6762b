#pragma once

#include "plaintooltip.h"

#include <QLabel>
#include <QPainter>
#include <QStyle>

/// One line of text as wide as there is room for. Where it is longer it ends in dots, and its tool
/// tip tells all of it.
class ElidingLabel final : public QLabel
{
public:
    explicit ElidingLabel(QWidget *parent = nullptr)
        : QLabel(parent)
    {
        setTextFormat(Qt::PlainText);
        setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        const QRect room = contentsRect().adjusted(margin(), margin(), -margin(), -margin());
        const QString shown = fontMetrics().elidedText(text(), Qt::ElideRight, room.width());
        setToolTip(shown == text() ? QString() : plainToolTip(text()));
        QPainter painter(this);
        style()->drawItemText(&painter, room, int(alignment()), palette(), isEnabled(), shown,
                              foregroundRole());
    }
};

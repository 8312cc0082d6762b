#include "jobsplitter.h"

#include <QPaintEvent>
#include <QPainter>

namespace
{

class Bar final : public QSplitterHandle
{
public:
    using QSplitterHandle::QSplitterHandle;

protected:
    void mousePressEvent(QMouseEvent *event) override
    {
        QSplitterHandle::mousePressEvent(event);
        m_dragged = true;
        raise();
        update();
    }

    void mouseReleaseEvent(QMouseEvent *event) override
    {
        QSplitterHandle::mouseReleaseEvent(event);
        m_dragged = false;
        update();
    }

    void paintEvent(QPaintEvent *event) override
    {
        if (m_dragged)
            QPainter(this).fillRect(event->rect(), Qt::black);
        else
            QSplitterHandle::paintEvent(event);
    }

private:
    bool m_dragged = false;
};

} // namespace

JobSplitter::JobSplitter(QWidget *parent)
    : QSplitter(parent)
{
}

QSplitterHandle *JobSplitter::createHandle()
{
    return new Bar(orientation(), this);
}

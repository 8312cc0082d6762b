// What a key press costs in a long body, and what the history of its changes keeps: prints the
// slowest key press in milliseconds and the middle one, of a body in lines and of one in a single
// line, and how many copies of the body the history takes the room of.

#include "bodyedit.h"
#include "sourceeditor.h"
#include "undoring.h"

#include "messageboxoperator.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QTextStream>

#include <algorithm>
#include <vector>

namespace
{

constexpr int bodyLength = 1024 * 1024;

QString longBody()
{
    QString body;
    for (int line = 0; body.size() < bodyLength; ++line)
        body += QStringLiteral("<p>%1: the club meets again, and we hope to see you.</p>\r\n")
                    .arg(line);
    return body;
}

std::vector<double> millisecondsPerKey(const QString &body)
{
    MessageBoxOperator op;
    SourceEditor editor(op);
    editor.resize(800, 600);
    editor.text().setBody(body);
    editor.show();
    BodyEdit *text = &editor.text();
    text->select(text->text().size() / 2, 0);
    QApplication::processEvents();

    std::vector<double> times;
    for (int i = 0; i < 2 * UndoRing::size; ++i) {
        QElapsedTimer timer;
        timer.start();
        QKeyEvent press(QEvent::KeyPress, Qt::Key_X, Qt::NoModifier, QStringLiteral("x"));
        QApplication::sendEvent(text, &press);
        QApplication::processEvents(); // paints
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times;
}

double bodiesKept(QString body)
{
    UndoRing ring;
    const qsizetype length = body.size();
    for (int i = 0; i < UndoRing::size; ++i) {
        body.insert((i * 7919 * 13) % length, QLatin1Char('x'));
        ring.record({body, 0});
    }
    return double(ring.storedBytes()) / double(length * qsizetype(sizeof(QChar)));
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication app(argc, argv);
    const QString body = longBody();
    QTextStream out(stdout);
    for (const QString &text : {body, QString(body).remove(QStringLiteral("\r\n"))}) {
        const std::vector<double> times = millisecondsPerKey(text);
        out << times.back() << ' ' << times[times.size() / 2] << ' ';
    }
    out << bodiesKept(body) << '\n';
}

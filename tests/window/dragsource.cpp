// A window that files can be dragged out of: those named on the command line, all at once. It prints what
// becomes of the drag, a line each: "ready", "dragging", "welcome" when the window under the mouse takes such
// things, and "over".

#include <QApplication>
#include <QDrag>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>
#include <QWidget>

#include <cstdio>

namespace
{

void say(const char *line)
{
    std::puts(line);
    std::fflush(stdout);
}

class DragSource : public QWidget
{
public:
    explicit DragSource(QList<QUrl> urls) : m_urls(std::move(urls))
    {
        setWindowTitle(QStringLiteral("Drag from here"));
        setFixedSize(160, 80);
    }

protected:
    void mouseMoveEvent(QMouseEvent *event) override
    {
        if (!(event->buttons() & Qt::LeftButton) || m_done)
            return;
        m_done = true;
        auto *dragged = new QMimeData;
        dragged->setUrls(m_urls);
        // As file managers do.
        dragged->setText(m_urls.value(0).toString());
        auto *drag = new QDrag(this);
        drag->setMimeData(dragged);
        connect(drag, &QDrag::actionChanged, this, [](Qt::DropAction action) {
            if (action == Qt::CopyAction)
                say("welcome");
        });
        say("dragging");
        drag->exec(Qt::CopyAction);
        say("over");
    }

private:
    const QList<QUrl> m_urls;
    bool m_done = false;
};

} // namespace

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    QList<QUrl> urls;
    const QStringList arguments = QApplication::arguments().mid(1);
    for (const QString &argument : arguments)
        urls << (argument.contains(QLatin1String("://")) ? QUrl(argument) : QUrl::fromLocalFile(argument));
    DragSource source(urls);
    source.show();
    say("ready");
    return QApplication::exec();
}

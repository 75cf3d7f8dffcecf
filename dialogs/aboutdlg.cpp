#include "dialogs/aboutdlg.h"

#include "dialogs/product.h"
#include "ui/contextmenu.h"
#include "ui/fittext.h"
#include "ui/lightpalette.h"
#include "ui_aboutdlg.h"

#include <QAbstractTextDocumentLayout>
#include <QDesktopServices>
#include <QImage>
#include <QMouseEvent>
#include <QScrollBar>
#include <QUrl>

namespace
{

QString fact(const char *text)
{
    return QString::fromUtf8(text).toHtmlEscaped();
}

QString span(QLatin1String font, const QString &text)
{
    return QLatin1String("<span style=\" %1\">%2</span>").arg(font, text);
}

QString paragraph(const QString &content)
{
    return QLatin1String("<p align=\"center\" style=\" margin:0px;\">%1</p>").arg(content);
}

/// A surface of 72 dots per inch, on which a point is a pixel.
QImage pointSizedSurface()
{
    QImage surface(1, 1, QImage::Format_RGB32);
    constexpr int dotsPerMeter = 2835;
    surface.setDotsPerMeterX(dotsPerMeter);
    surface.setDotsPerMeterY(dotsPerMeter);
    return surface;
}

} // namespace

AboutDlg::AboutDlg(QWidget *parent) : QDialog(parent), ui(new Ui_AboutDlg)
{
    ui->setupUi(this);
    setFixedSize(360, 200);
    // The text's colours need a light background. The text box has a style sheet and so does not inherit the
    // palette.
    setPalette(lightPalette(palette()));
    ui->textEdit->setPalette(palette());
    keepMenuUnstyled(*ui->textEdit);

    // The box has a fixed height in pixels: lay its text out at 72 dpi, whatever the screen's resolution.
    static QImage surface = pointSizedSurface();
    ui->textEdit->document()->documentLayout()->setPaintDevice(&surface);
    ui->textEdit->setHtml(aboutText());
    // The mouse wheel must not scroll to the empty last line.
    ui->textEdit->verticalScrollBar()->setEnabled(false);
    ui->textEdit->viewport()->setMouseTracking(true);
    ui->textEdit->viewport()->installEventFilter(this);
    shrinkFont({ui->pushButton_URL}, [this] { return hasRoomForText(*ui->pushButton_URL); });
    connect(ui->pushButton_URL, SIGNAL(clicked()), this, SLOT(VisitURL()));
}

AboutDlg::~AboutDlg()
{
    delete ui;
}

QString AboutDlg::aboutText()
{
    const QLatin1String plain("font-family:'MS Shell Dlg 2'; font-size:12pt;");
    const QLatin1String blank("font-family:'SimSun'; font-size:12pt;");
    const QLatin1String thanks("font-family:'SimSun'; font-size:12pt; font-weight:600; color:#0055ff;");
    const QLatin1String rule("font-family:'SimSun'; font-size:12pt; font-weight:600; color:#000000;");
    const QLatin1String link(
        "font-family:'SimSun'; font-size:12pt; font-weight:600; text-decoration: underline; "
        "color:#0000ff;");
    const QString homepage = fact(Product::Homepage);
    //: %1 the product's name, %2 its version
    const QString nameAndVersion = tr("%1 %2").arg(fact(Product::Name), fact(Product::Version));

    return QLatin1String("<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.0//EN\" "
                         "\"http://www.w3.org/TR/REC-html40/strict.dtd\">\n"
                         "<html><head><meta name=\"qrichtext\" content=\"1\" /><style type=\"text/css\">\n"
                         "p, li { white-space: pre-wrap; }\n"
                         "</style></head><body style=\" font-family:'Lucida Grande'; font-size:13pt; "
                         "font-weight:400; font-style:normal;\">\n") +
           paragraph(span(thanks, tr("Thank you for purchasing our software!"))) +
           paragraph(span(rule, QString(42, QLatin1Char('-')))) +
           paragraph(span(plain, nameAndVersion) + span(blank, QStringLiteral(" "))) +
           paragraph(span(plain, tr(Product::Rights).toHtmlEscaped())) +
           paragraph(QLatin1String("<a href=\"%1\">%2</a>").arg(homepage, span(link, homepage))) +
           paragraph(span(plain, fact(Product::Support))) +
           QLatin1String("<p align=\"center\" style=\"-qt-paragraph-type:empty; margin:0px; "
                         "font-family:'MS Shell Dlg 2'; font-size:12pt;\"></p></body></html>");
}

bool AboutDlg::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::MouseMove || event->type() == QEvent::MouseButtonPress ||
        event->type() == QEvent::MouseButtonRelease) {
        const auto &mouse = static_cast<const QMouseEvent &>(*event);
        const QString link = ui->textEdit->anchorAt(mouse.position().toPoint());
        ui->textEdit->viewport()->setCursor(link.isEmpty() ? Qt::IBeamCursor : Qt::PointingHandCursor);
        if (event->type() == QEvent::MouseButtonPress && mouse.button() == Qt::LeftButton)
            m_pressedLink = link;
        // Dragging over the link selects text and is no click.
        const bool isClick = event->type() == QEvent::MouseButtonRelease &&
                             mouse.button() == Qt::LeftButton && !link.isEmpty() && link == m_pressedLink &&
                             !ui->textEdit->textCursor().hasSelection();
        if (isClick)
            VisitURL();
    }
    return QDialog::eventFilter(watched, event);
}

void AboutDlg::VisitURL()
{
    QDesktopServices::openUrl(QUrl(QString::fromUtf8(Product::Homepage)));
}

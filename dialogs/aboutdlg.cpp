#include "dialogs/aboutdlg.h"

#include "app/product.h"
#include "ui_aboutdlg.h"

#include <QDesktopServices>
#include <QUrl>

namespace
{

QString fact(const char *text)
{
    return QString::fromUtf8(text).toHtmlEscaped();
}

} // namespace

AboutDlg::AboutDlg(QWidget *parent) : QDialog(parent), ui(std::make_unique<Ui_AboutDlg>())
{
    ui->setupUi(this);
    setFixedSize(360, 200);
    //: %1 name, %2 version, %3 rights, %4 homepage, %5 support address
    ui->textEdit->setHtml(
        tr(R"(<!DOCTYPE HTML PUBLIC "-//W3C//DTD HTML 4.0//EN" "http://www.w3.org/TR/REC-html40/strict.dtd">
<html><head><meta name="qrichtext" content="1" /><style type="text/css">
p, li { white-space: pre-wrap; }
</style></head><body style=" font-family:'Lucida Grande'; font-size:13pt; font-weight:400; font-style:normal;">
<p align="center" style=" margin-top:0px; margin-bottom:0px; margin-left:0px; margin-right:0px; -qt-block-indent:0; text-indent:0px;"><span style=" font-family:'SimSun'; font-size:12pt; font-weight:600; color:#0055ff;">Thank you for purchasing our software!</span></p>
<p align="center" style=" margin-top:0px; margin-bottom:0px; margin-left:0px; margin-right:0px; -qt-block-indent:0; text-indent:0px;"><span style=" font-family:'SimSun'; font-size:12pt; font-weight:600; color:#000000;">------------------------------------------</span></p>
<p align="center" style=" margin-top:0px; margin-bottom:0px; margin-left:0px; margin-right:0px; -qt-block-indent:0; text-indent:0px;"><span style=" font-family:'MS Shell Dlg 2'; font-size:12pt;">%1 %2</span><span style=" font-family:'SimSun'; font-size:12pt;"> </span></p>
<p align="center" style=" margin-top:0px; margin-bottom:0px; margin-left:0px; margin-right:0px; -qt-block-indent:0; text-indent:0px;"><span style=" font-family:'MS Shell Dlg 2'; font-size:12pt;">%3</span></p>
<p align="center" style=" margin-top:0px; margin-bottom:0px; margin-left:0px; margin-right:0px; -qt-block-indent:0; text-indent:0px;"><a href="%4"><span style=" font-family:'SimSun'; font-size:12pt; font-weight:600; text-decoration: underline; color:#0000ff;">%4</span></a></p>
<p align="center" style=" margin-top:0px; margin-bottom:0px; margin-left:0px; margin-right:0px; -qt-block-indent:0; text-indent:0px;"><span style=" font-family:'MS Shell Dlg 2'; font-size:12pt;">%5</span></p>
<p align="center" style="-qt-paragraph-type:empty; margin-top:0px; margin-bottom:0px; margin-left:0px; margin-right:0px; -qt-block-indent:0; text-indent:0px; font-family:'MS Shell Dlg 2'; font-size:12pt;"></p></body></html>)")
            .arg(fact(Product::Name), fact(Product::Version), fact(Product::Rights), fact(Product::Homepage),
                 fact(Product::Support)));
    connect(ui->pushButton_URL, &QPushButton::clicked, this, &AboutDlg::VisitURL);
}

AboutDlg::~AboutDlg() = default;

void AboutDlg::VisitURL()
{
    QDesktopServices::openUrl(QUrl(QString::fromUtf8(Product::Homepage)));
}

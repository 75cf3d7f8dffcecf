#pragma once

#include <QDialog>

class Ui_AboutDlg;

/// Shows name, version, rights and addresses of the product, with a link to its homepage.
class AboutDlg : public QDialog
{
    Q_OBJECT

public:
    explicit AboutDlg(QWidget *parent = nullptr);
    ~AboutDlg() override;

public slots:
    /// Opens the homepage in the user's browser; a failure is not reported.
    void VisitURL();

protected:
    /// Makes the link in the text clickable, which QTextEdit does not support.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    static QString aboutText();

    Ui_AboutDlg *ui;       ///< owned
    QString m_pressedLink; ///< the link on which the mouse button was pressed; empty for none
};

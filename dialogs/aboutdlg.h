#pragma once

#include <QDialog>

class Ui_AboutDlg;

/// Name, version, rights and addresses of the product, and a way to its homepage.
class AboutDlg : public QDialog
{
    Q_OBJECT

public:
    explicit AboutDlg(QWidget *parent = nullptr);
    ~AboutDlg() override;

public slots:
    /// Opens the homepage in the user's browser. Nothing is reported where none opens.
    void VisitURL();

protected:
    /// Makes the homepage in the text a link, which a QTextEdit only paints.
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    static QString aboutText();

    Ui_AboutDlg *ui;       ///< owned
    QString m_pressedLink; ///< under the mouse when its button went down; empty beside any
};

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

private:
    static QString aboutText();

    Ui_AboutDlg *ui; ///< owned
};

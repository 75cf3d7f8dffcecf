#pragma once

#include <QDialog>
#include <QString>

class Ui_addurl;

/// Takes web addresses, typed or loaded from a list file, and hands them over as one text: it neither splits
/// nor tests them. The text box keeps its content from one showing to the next.
class addurl : public QDialog
{
    Q_OBJECT

public:
    explicit addurl(QWidget *parent = nullptr);
    ~addurl() override;

    /// Takes the text box's plain text over into m_strURLContent, and returns it.
    QString GetURLContent();

    /// The text of the last OK; empty before the first.
    QString m_strURLContent;

protected:
    void showEvent(QShowEvent *event) override;

private slots:
    void on_buttonBox_accepted();
    void on_buttonBox_LoadTXT();
    void on_buttonBox_Clear();

private:
    Ui_addurl *ui; ///< owned
};

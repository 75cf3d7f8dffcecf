#pragma once

#include <QDialog>
#include <QString>

class Ui_addurl;

/// Lets the user type web addresses or load them from a file, and returns them as one text, neither split nor
/// checked. The text box keeps its content from one showing to the next.
class addurl : public QDialog
{
    Q_OBJECT

public:
    explicit addurl(QWidget *parent = nullptr);
    ~addurl() override;

    /// Stores the text box's plain text in m_strURLContent and returns it.
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

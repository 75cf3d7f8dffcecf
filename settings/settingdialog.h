#pragma once

#include <QDialog>

class Ui_SettingDialog;

/// The conversion options, edited modally. The controls are filled from the settings file once, at
/// construction, and then keep what they hold from one showing to the next; only OK writes the file.
class SettingDialog : public QDialog
{
    Q_OBJECT

public:
    explicit SettingDialog(QWidget *parent = nullptr);
    ~SettingDialog() override;

    /// Rebuilds the lists and puts the defaults into the controls; writes nothing. Password and proxy stay,
    /// by contract.
    void IniAllChoice();
    /// Settings file to controls. What is missing, malformed or out of range shows as its default.
    void LoadInfo();
    /// Controls to settings file: always all sixteen keys of the dialog.
    void SaveInfo();

    /// Never installed on any object. Announces each event in message boxes, and consumes none.
    bool eventFilter(QObject *watched, QEvent *event) override;

public slots:
    void OnButtonOk();
    void OnButtonCancel();
    void OnButtonReset();
    void OnChangePageSize();
    void OnFontSizeKillForce();

protected:
    void showEvent(QShowEvent *event) override;

private:
    /// Selects a minimum font size in points, listing it first where it is not yet; "Default" for any out of
    /// range.
    void showFontSize(int points);
    void layOutPanel();
    bool hasRoomForTexts() const;
    void paintBackground();

    Ui_SettingDialog *ui; ///< owned
};

#pragma once

#include <QDialog>

class Ui_SettingDialog;

/// The modal dialog for conversion options. The constructor fills the controls from the settings file; after
/// that they keep their content from one showing to the next. Only OK writes the file.
class SettingDialog : public QDialog
{
    Q_OBJECT

public:
    explicit SettingDialog(QWidget *parent = nullptr);
    ~SettingDialog() override;

    /// Rebuilds the lists and resets the controls to defaults, without writing the file. Password and proxy
    /// stay, by contract.
    void IniAllChoice();
    /// Fills the controls from the settings file. Missing, malformed and out-of-range values become defaults.
    void LoadInfo();
    /// Writes the controls to the settings file: always all sixteen keys of the dialog.
    void SaveInfo();

    /// Not installed on any object. Shows each event in message boxes and consumes none.
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
    /// Selects a minimum font size in points, after adding it to the list if necessary; "Default" if out of
    /// range.
    void showFontSize(int points);
    void layOutPanel();
    bool hasRoomForTexts() const;
    void paintBackground();

    Ui_SettingDialog *ui; ///< owned
};

#pragma once

class QAbstractButton;
class QString;

/// Gives a button the image ":/MyImage/…" as its icon, at the image's own pixel size. Where ":/MyImage2x/…"
/// has the same image at twice that size, screens of high density show that.
void showButtonImage(QAbstractButton &button, const QString &image);

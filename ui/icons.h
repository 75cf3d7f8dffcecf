#pragma once

class QAbstractButton;
class QString;

/// Sets the image ":/MyImage/…" as a button's icon, at the image's own pixel size. High-density screens use
/// the image of twice that size in ":/MyImage2x/…", if there is one.
void showButtonImage(QAbstractButton &button, const QString &image);

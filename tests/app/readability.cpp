#include "tests/app/readability.h"

#include <QAbstractItemView>
#include <QCheckBox>
#include <QComboBox>
#include <QHash>
#include <QHeaderView>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPixmap>
#include <QPushButton>
#include <QStyle>
#include <QStyleOptionButton>
#include <QStyleOptionComboBox>
#include <QStyleOptionFrame>
#include <QTextBlock>
#include <QTextEdit>

#include <algorithm>
#include <cmath>
#include <iterator>

using namespace Qt::StringLiterals;

namespace
{

constexpr int iconGap = 4; // pixels between a button's icon and its text

QString nameOf(const QWidget &control)
{
    return control.objectName().isEmpty() ? QLatin1String(control.metaObject()->className())
                                          : control.objectName();
}

QString shownText(QString text)
{
    return text.remove(u'&');
}

int textWidth(const QWidget &control, const QString &text)
{
    return control.fontMetrics().size(Qt::TextShowMnemonic, text).width();
}

/// The rectangle of a button's icon and text, which are centred together.
int buttonContentWidth(const QPushButton &button)
{
    const int icon = button.icon().isNull() ? 0 : button.iconSize().width() + iconGap;
    return icon + textWidth(button, button.text());
}

// Contrast

double linear(double channel)
{
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double luminance(QRgb color)
{
    return 0.2126 * linear(qRed(color) / 255.0) + 0.7152 * linear(qGreen(color) / 255.0) +
           0.0722 * linear(qBlue(color) / 255.0);
}

double contrast(QRgb one, QRgb other)
{
    const double a = luminance(one) + 0.05;
    const double b = luminance(other) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

/// The contrast between the most frequent colour, taken for the background, and the colour with the highest
/// contrast to it, taken for the text. The picture must not contain frames of controls.
double contrastWithin(const QImage &picture)
{
    QHash<QRgb, int> counts;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            ++counts[picture.pixel(x, y)];
    }
    if (counts.isEmpty())
        return 1;
    const QRgb ground = std::max_element(counts.cbegin(), counts.cend()).key();
    double most = 1;
    for (auto color = counts.cbegin(); color != counts.cend(); ++color)
        most = std::max(most, contrast(ground, color.key()));
    return most;
}

/// Takes the contrasts of one window.
class Looker
{
public:
    explicit Looker(QWidget &window) : m_window(window), m_picture(window.grab().toImage()) {}

    QList<TextContrast> look()
    {
        if (const auto *menu = qobject_cast<const QMenu *>(&m_window)) {
            lookAt(*menu);
            return m_found;
        }
        look(m_window);
        const auto controls = m_window.findChildren<const QWidget *>();
        for (const QWidget *control : controls) {
            if (control->isVisibleTo(&m_window) && control->window() == &m_window)
                look(*control);
        }
        return m_found;
    }

private:
    void take(const QWidget &control, QRect place, const QString &text, bool disabled)
    {
        const QRect inWindow =
            QRect(control.mapTo(&m_window, place.topLeft()), place.size()) & m_window.rect();
        if (text.trimmed().isEmpty() || inWindow.isEmpty())
            return;
        const qreal density = m_picture.devicePixelRatio();
        const QRect pixels(inWindow.topLeft() * density, inWindow.size() * density);
        m_found.append(
            {nameOf(control) + u": "_s + shownText(text), contrastWithin(m_picture.copy(pixels)), disabled});
    }

    void take(const QWidget &control, QRect place, const QString &text)
    {
        take(control, place, text, !control.isEnabled());
    }

    void look(const QWidget &control)
    {
        const QStyle &style = *control.style();
        if (const auto *label = qobject_cast<const QLabel *>(&control)) {
            take(control, control.contentsRect(), label->text());
        } else if (const auto *box = qobject_cast<const QCheckBox *>(&control)) {
            QStyleOptionButton option;
            option.initFrom(box);
            take(control, style.subElementRect(QStyle::SE_CheckBoxContents, &option, box), box->text());
        } else if (const auto *button = qobject_cast<const QPushButton *>(&control)) {
            const int width = textWidth(control, button->text());
            const int right = (control.width() + buttonContentWidth(*button)) / 2;
            const int height = control.fontMetrics().height();
            take(control, QRect(right - width, (control.height() - height) / 2, width, height),
                 button->text());
        } else if (const auto *line = qobject_cast<const QLineEdit *>(&control)) {
            const QString text = line->text().isEmpty() ? line->placeholderText() : line->text();
            take(control, control.rect().adjusted(4, 3, -4, -3), text);
        } else if (const auto *list = qobject_cast<const QComboBox *>(&control)) {
            QStyleOptionComboBox option;
            option.initFrom(list);
            const QRect field =
                style.subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, list);
            if (!list->isEditable())
                take(control, field.adjusted(2, 2, -2, -2), list->currentText());
        } else if (const auto *text = qobject_cast<const QTextEdit *>(&control)) {
            lookAt(*text);
        } else if (const auto *view = qobject_cast<const QAbstractItemView *>(&control)) {
            lookAt(*view);
        }
    }

    void lookAt(const QTextEdit &edit)
    {
        const QWidget &viewport = *edit.viewport();
        if (edit.document()->isEmpty()) {
            const auto height = edit.fontMetrics().height() + 4;
            take(viewport, QRect(0, 0, viewport.width(), height), edit.placeholderText());
        }
        for (QTextBlock block = edit.document()->begin(); block.isValid(); block = block.next()) {
            const QRect start = edit.cursorRect(QTextCursor(block));
            take(viewport, QRect(0, start.top(), viewport.width(), start.height()), block.text());
        }
    }

    void lookAt(const QAbstractItemView &view)
    {
        const QAbstractItemModel *model = view.model();
        if (const auto *header = qobject_cast<const QHeaderView *>(&view)) {
            for (int section = 0; model && section < header->count(); ++section) {
                const QRect place(header->sectionViewportPosition(section), 0, header->sectionSize(section),
                                  header->height());
                take(*view.viewport(), place.adjusted(4, 2, -4, -2),
                     model->headerData(section, header->orientation()).toString());
            }
            return;
        }
        constexpr int enough = 4;
        for (int row = 0; model && row < std::min(enough, model->rowCount(view.rootIndex())); ++row) {
            for (int column = 0; column < model->columnCount(view.rootIndex()); ++column) {
                const QModelIndex index = model->index(row, column, view.rootIndex());
                take(*view.viewport(), view.visualRect(index).adjusted(4, 3, -4, -3), index.data().toString(),
                     !index.flags().testFlag(Qt::ItemIsEnabled));
            }
        }
    }

    void lookAt(const QMenu &menu)
    {
        const auto actions = menu.actions();
        for (const QAction *action : actions) {
            if (!action->isSeparator())
                take(menu, menu.actionGeometry(const_cast<QAction *>(action)).adjusted(4, 3, -4, -3),
                     action->text(), !action->isEnabled());
        }
    }

    QWidget &m_window;
    const QImage m_picture;
    QList<TextContrast> m_found;
};

// Space

/// What a control's text needs, and what it has.
struct Room {
    QSize needed;
    QSize there;
};

Room roomOf(const QWidget &control)
{
    const int height = control.fontMetrics().height();
    constexpr int frame = 1;
    if (const auto *button = qobject_cast<const QPushButton *>(&control)) {
        if (button->text().isEmpty())
            return {};
        return {{buttonContentWidth(*button), height}, control.size() - QSize(2 * frame, 2 * frame)};
    }
    if (qobject_cast<const QLineEdit *>(&control))
        return {{0, height}, control.size() - QSize(2 * frame, 2 * frame)};
    if (const auto *list = qobject_cast<const QComboBox *>(&control)) {
        QStyleOptionComboBox option;
        option.initFrom(list);
        option.editable = list->isEditable();
        const QRect field =
            list->style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, list);
        int widest = 0;
        for (int entry = 0; entry < list->count(); ++entry)
            widest = std::max(widest, textWidth(control, list->itemText(entry)));
        return {{widest, height}, field.size()};
    }
    if (qobject_cast<const QLabel *>(&control) || qobject_cast<const QCheckBox *>(&control))
        return {control.minimumSizeHint(), control.size()};
    if (const auto *edit = qobject_cast<const QTextEdit *>(&control); edit && edit->isReadOnly())
        return {{int(std::ceil(edit->document()->idealWidth())),
                 edit->cursorRect(QTextCursor(edit->document()->lastBlock())).top()},
                edit->viewport()->size()};
    return {};
}

QStringList cutHeaders(const QHeaderView &header)
{
    QStringList cut;
    for (int section = 0; section < header.count(); ++section) {
        const QString text = header.model()->headerData(section, header.orientation()).toString();
        const int missing = textWidth(*header.viewport(), text) - header.sectionSize(section);
        if (missing > 0)
            cut << u"%1 by %2"_s.arg(text).arg(missing);
    }
    return cut;
}

} // namespace

QList<TextContrast> textContrasts(QWidget &window)
{
    return Looker(window).look();
}

QStringList cutTexts(const QWidget &window)
{
    QStringList cut;
    const auto controls = window.findChildren<const QWidget *>();
    for (const QWidget *control : controls) {
        if (!control->isVisibleTo(&window) || control->window() != &window)
            continue;
        if (const auto *header = qobject_cast<const QHeaderView *>(control)) {
            cut << cutHeaders(*header);
            continue;
        }
        const Room room = roomOf(*control);
        const QSize missing = room.needed - room.there;
        if (missing.width() > 0 || missing.height() > 0)
            cut << u"%1 by %2x%3"_s.arg(nameOf(*control)).arg(missing.width()).arg(missing.height());
        const QRect place(control->mapTo(&window, QPoint()), control->size());
        if (!room.needed.isEmpty() && !window.rect().contains(place) &&
            !qobject_cast<const QTextEdit *>(control))
            cut << nameOf(*control) + u" leaves its window"_s;
    }
    return cut;
}

#include "packaging/texts/texts.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

/// What an option does, in a few words.
QString shortHelp(const Option &option)
{
    static const QRegularExpression rest(u":? \\(.*|: .*"_s);
    return QString::fromUtf8(option.help).remove(rest);
}

QString choicesOf(const Option &option)
{
    return option.choices ? option.choices().join(u' ') : QString();
}

/// A word of a shell that stands for `text`.
QString quoted(QString text)
{
    return u'\'' + text.replace(u'\'', "'\\''"_L1) + u'\'';
}

} // namespace

QString bashCompletion(std::span<const Option> options)
{
    QStringList names;
    QStringList texts;
    QStringList files;
    QString choices;
    for (const Option &option : options) {
        const QString name = QString::fromUtf8(option.name);
        names += name;
        if (option.choices)
            choices += u"    %1)\n"
                       "        mapfile -t COMPREPLY < <(compgen -W %2 -- \"$word\")\n"
                       "        return\n"
                       "        ;;\n"_s.arg(name, quoted(choicesOf(option)));
        else if (option.isFile)
            files += name;
        else if (option.value)
            texts += name;
    }
    if (!files.isEmpty())
        choices += u"    %1)\n"
                   "        compopt -o filenames\n"
                   "        mapfile -t COMPREPLY < <(compgen -f -- \"$word\")\n"
                   "        return\n"
                   "        ;;\n"_s.arg(files.join(" | "_L1));
    if (!texts.isEmpty())
        choices += u"    %1)\n"
                   "        return\n"
                   "        ;;\n"_s.arg(texts.join(" | "_L1));
    return u"# Completion of quirelle for bash.\n"
           "\n"
           "_quirelle() {\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}\n"
           "    local extension\n"
           "    COMPREPLY=()\n"
           "    case $before in\n"
           "%1"
           "    esac\n"
           "    if [[ $word == -* ]]; then\n"
           "        mapfile -t COMPREPLY < <(compgen -W %2 -- \"$word\")\n"
           "    else\n"
           "        compopt -o filenames\n"
           "        mapfile -t COMPREPLY < <(\n"
           "            compgen -d -- \"$word\"\n"
           "            for extension in html htm xhtml svg pdf; do\n"
           "                compgen -f -X \"!*.$extension\" -- \"$word\"\n"
           "            done\n"
           "        )\n"
           "    fi\n"
           "}\n"
           "complete -F _quirelle quirelle\n"_s.arg(choices, quoted(names.join(u' ')));
}

QString zshCompletion(std::span<const Option> options)
{
    QString rows;
    for (const Option &option : options) {
        // Brackets and colons are special characters here.
        QString help = shortHelp(option);
        help.replace(QRegularExpression(u"([][:\\\\])"_s), "\\\\1"_L1);
        QString row = QString::fromUtf8(option.name) + u'[' + help + u']';
        if (option.value)
            row += u':' + QString::fromUtf8(option.value) + u':';
        if (option.choices)
            row += u'(' + choicesOf(option) + u')';
        else if (option.isFile)
            row += "_files"_L1;
        else if (option.value)
            row += u' ';
        if (option.answer)
            row.prepend("(* -)"_L1);
        else if (option.isRepeatable)
            row.prepend(u'*');
        rows += u"    %1 \\\n"_s.arg(quoted(row));
    }
    return u"#compdef quirelle\n"
           "# Completion of quirelle for zsh.\n"
           "\n"
           "_arguments \\\n"
           "%1"
           "    '1:HTML file or web address:_files -g \"*.(html|htm|xhtml|svg)(-.)\"' \\\n"
           "    '*:HTML file, web address or PDF to write:_files -g \"*.(html|htm|xhtml|svg|pdf)(-.)\"'\n"_s
               .arg(rows);
}

QString fishCompletion(std::span<const Option> options)
{
    QString rows;
    for (const Option &option : options) {
        const QString name = QString::fromUtf8(option.name);
        const bool isLong = name.startsWith("--"_L1);
        rows += u"complete -c quirelle -%1 %2"_s.arg(QLatin1Char(isLong ? 'l' : 's'))
                    .arg(name.mid(isLong ? 2 : 1));
        if (option.value)
            rows += option.isFile ? " -r"_L1 : " -x"_L1;
        // In fish, a backslash is an escape character within single quotes.
        rows += " -d "_L1 + quoted(shortHelp(option).replace(u'\\', "\\\\"_L1));
        if (option.choices)
            rows += " -a "_L1 + quoted(choicesOf(option));
        rows += u'\n';
    }
    return u"# Completion of quirelle for fish.\n\n"_s + rows;
}

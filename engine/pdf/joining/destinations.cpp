#include "engine/pdf/joining/destinations.h"

#include "engine/pdf/structure/links.h"

#include <qpdf/QPDFPageDocumentHelper.hh>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// Equal for addresses of one document.
QByteArray keyOf(const QUrl &address)
{
    const int port = address.port(address.scheme() == "https"_L1 ? 443 : 80);
    const QString path = address.path(QUrl::FullyDecoded);
    return (address.scheme() + u'\n' + address.host() + u'\n' + QString::number(port) + u'\n' +
            (path.isEmpty() ? u"/"_s : path) + u'\n' + address.query(QUrl::FullyEncoded))
        .toUtf8();
}

QByteArray fragmentOf(const QUrl &address)
{
    return decodedFragment(address.fragment(QUrl::FullyEncoded).toUtf8());
}

template <typename Action>
void eachAnnotation(QPDF &pdf, const Action &action)
{
    for (QPDFPageObjectHelper page : QPDFPageDocumentHelper(pdf).getAllPages()) {
        QPDFObjectHandle annotations = page.getObjectHandle().getKey("/Annots");
        if (!annotations.isArray())
            continue;
        for (QPDFObjectHandle annotation : annotations.aitems())
            action(annotation);
    }
}

/// The fragment of a link within its own document; nothing for other annotations.
std::optional<QByteArray> innerFragment(QPDFObjectHandle annotation)
{
    QPDFObjectHandle target = annotation.getKey("/Dest");
    if (!target.isName())
        return std::nullopt;
    return decodedFragment(QByteArray::fromStdString(target.getName().substr(1)));
}

} // namespace

std::string destinationName(size_t index, const QByteArray &fragment)
{
    // No number has a colon, so the names of two parts differ.
    return std::to_string(index + 1) + ':' + fragment.toPercentEncoding().toStdString();
}

QByteArray decodedFragment(const QByteArray &encoded)
{
    return QByteArray::fromPercentEncoding(encoded);
}

Destinations::Destinations(const std::vector<Part> &parts) : m_wanted(parts.size())
{
    for (size_t index = 0; index < parts.size(); ++index) {
        for (const QUrl &address : parts[index].addresses) {
            std::vector<size_t> &known = m_parts[keyOf(address)];
            if (known.empty() || known.back() != index)
                known.push_back(index);
            if (m_base.isEmpty() && address.isLocalFile())
                m_base = address;
        }
    }
}

std::optional<size_t> Destinations::partAt(const QUrl &address, size_t from) const
{
    const auto known = m_parts.constFind(keyOf(address));
    if (known == m_parts.constEnd())
        return std::nullopt;
    return std::ranges::find(*known, from) != known->end() ? from : known->front();
}

void Destinations::note(size_t index, QPDF &pdf)
{
    eachAnnotation(pdf, [&](const QPDFObjectHandle &annotation) {
        if (const std::optional<QByteArray> fragment = innerFragment(annotation))
            m_wanted[index].insert(*fragment);
    });
    relateLinks(pdf, {}, [&](const QUrl &address) {
        if (const std::optional<size_t> part = partAt(address, index))
            m_wanted[*part].insert(fragmentOf(address));
        return QPDFObjectHandle::newNull();
    });
}

void Destinations::relate(size_t index, QPDF &pdf) const
{
    eachAnnotation(pdf, [&](QPDFObjectHandle annotation) {
        if (const std::optional<QByteArray> fragment = innerFragment(annotation))
            annotation.replaceKey("/Dest",
                                  QPDFObjectHandle::newName('/' + destinationName(index, *fragment)));
    });
    relateLinks(pdf, m_base, [&](const QUrl &address) {
        const std::optional<size_t> part = partAt(address, index);
        return part ? QPDFObjectHandle::newName('/' + destinationName(*part, fragmentOf(address)))
                    : QPDFObjectHandle::newNull();
    });
}

std::vector<std::pair<std::string, QPDFObjectHandle>> Destinations::of(size_t index, QPDF &pdf) const
{
    std::set<QByteArray> missing = m_wanted[index];
    std::vector<std::pair<std::string, QPDFObjectHandle>> found;
    QPDFObjectHandle own = pdf.getRoot().getKey("/Dests");
    if (own.isDictionary()) {
        for (const auto &[name, place] : own.ditems()) {
            const QByteArray fragment = decodedFragment(QByteArray::fromStdString(name.substr(1)));
            if (missing.erase(fragment) > 0)
                found.emplace_back(destinationName(index, fragment), place);
        }
    }
    for (const QByteArray &fragment : missing)
        found.emplace_back(destinationName(index, fragment),
                           startOf(QPDFPageDocumentHelper(pdf).getAllPages().front()));
    return found;
}

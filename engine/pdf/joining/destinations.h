#pragma once

#include "engine/job/part.h"

#include <QHash>
#include <qpdf/QPDFObjectHandle.hh>

#include <optional>
#include <set>
#include <vector>

class QPDF;

/// The name of a destination in the joined document: that of a place in part `index`. `fragment` is not
/// percent-encoded; it is empty for the part's beginning.
std::string destinationName(size_t index, const QByteArray &fragment);

/// A fragment, or a destination as the browser names it, without percent-encoding.
QByteArray decodedFragment(const QByteArray &encoded);

/// Which places in which parts links lead to.
class Destinations
{
public:
    explicit Destinations(const std::vector<Part> &parts);

    /// Notes where the links of part `index` lead. To be called for all parts before the rest.
    void note(size_t index, QPDF &pdf);

    /// Has the links of part `index` lead to the destinations of the joined document. Links to files out of
    /// it become relative, see relateLinks().
    void relate(size_t index, QPDF &pdf) const;

    /// The destinations of part `index` that links lead to: names, without the slash, and arrays of `pdf`.
    /// Places that it does not have are its beginning.
    std::vector<std::pair<std::string, QPDFObjectHandle>> of(size_t index, QPDF &pdf) const;

private:
    /// The part that the address is of, seen from part `from`.
    std::optional<size_t> partAt(const QUrl &address, size_t from) const;

    /// The parts of an address, by keyOf().
    QHash<QByteArray, std::vector<size_t>> m_parts;
    /// That of the first part that is a file; empty for none.
    QUrl m_base;
    /// By part: the fragments that links lead to.
    std::vector<std::set<QByteArray>> m_wanted;
};

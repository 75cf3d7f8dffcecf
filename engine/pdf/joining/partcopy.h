#pragma once

#include "engine/pdf/writing/packedfile.h"

#include <QByteArray>
#include <QHash>
#include <qpdf/QPDFObjectHandle.hh>

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

class QPDF;

/// The numbers of written objects, by a hash of their content.
using WrittenObjects = QHash<QByteArray, int>;

/// Copies objects of one document to a file, with new numbers.
class PartCopy
{
public:
    /// Objects equal to those in `written`, and without references back, are not copied again; see share().
    PartCopy(QPDF &pdf, PackedFile &file, WrittenObjects &written);

    /// From now on the object has this number, and is not copied: the caller writes it.
    void replace(QPDFObjectHandle object, int number);

    /// Text with the numbers of the copied objects. What it refers to will be copied by finish().
    std::string text(std::string_view original);

    /// Copies all that the value refers to, directly and through others, unless the file has it already.
    void share(QPDFObjectHandle value);

    /// Copies what is still to be copied.
    void finish();

private:
    /// An object that waits for those that it refers to.
    struct Pending;

    Pending pending(int number);
    void shareObject(int number);
    void write(int number, const Pending &object);
    int numberOf(int original);

    QPDF &m_pdf;
    PackedFile &m_file;
    WrittenObjects &m_written;
    /// New numbers by old ones.
    std::unordered_map<int, int> m_numbers;
    /// Old numbers.
    std::deque<int> m_waiting;
};

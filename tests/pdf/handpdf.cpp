#include "tests/pdf/handpdf.h"

namespace
{

constexpr int firstNumber = 5;

QByteArray stream(const QByteArray &dictionary, const QByteArray &data)
{
    return "<< " + dictionary + " /Length " + QByteArray::number(data.size()) + " >>\nstream\n" + data +
           "\nendstream";
}

} // namespace

int HandPdf::add(const QByteArray &object)
{
    m_objects.append(object);
    return static_cast<int>(m_objects.size()) + firstNumber - 1;
}

int HandPdf::addStream(const QByteArray &dictionary, const QByteArray &data)
{
    return add(stream(dictionary, data));
}

HandPdf &HandPdf::content(const QByteArray &operators, const QByteArray &resources)
{
    m_content = operators;
    m_resources = resources;
    return *this;
}

HandPdf &HandPdf::page(const QByteArray &entries)
{
    m_page = entries;
    return *this;
}

HandPdf &HandPdf::catalogue(const QByteArray &entries)
{
    m_catalogue = entries;
    return *this;
}

QByteArray HandPdf::bytes() const
{
    QList<QByteArray> objects = {
        "<< /Type /Catalog /Pages 2 0 R " + m_catalogue + " >>",
        "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 100 100] /Contents 4 0 R /Resources << " + m_resources +
            " >> " + m_page + " >>",
        stream({}, m_content),
    };
    objects += m_objects;

    QByteArray file = "%PDF-1.7\n";
    QByteArray table = "xref\n0 " + QByteArray::number(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (qsizetype i = 0; i < objects.size(); ++i) {
        table += QByteArray::number(file.size()).rightJustified(10, '0') + " 00000 n \n";
        file += QByteArray::number(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const qsizetype start = file.size();
    return file + table + "trailer\n<< /Root 1 0 R /Size " + QByteArray::number(objects.size() + 1) +
           " >>\nstartxref\n" + QByteArray::number(start) + "\n%%EOF\n";
}

QByteArray reference(int number)
{
    return QByteArray::number(number) + " 0 R";
}

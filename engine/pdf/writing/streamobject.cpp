#include "engine/pdf/writing/streamobject.h"

#include "engine/pdf/reading/streamdata.h"

StreamObject::StreamObject(QPDFObjectHandle stream) : data(storedData(stream))
{
    QPDFObjectHandle entries = stream.getDict().shallowCopy();
    if (data.empty()) {
        // Empty data is not valid Flate; some viewers report it as damaged.
        entries.removeKey("/Filter");
    } else if (!entries.hasKey("/Filter")) {
        entries.replaceKey("/Filter", QPDFObjectHandle::newName("/FlateDecode"));
        data = flateCompressed(data);
    }
    entries.replaceKey("/Length", QPDFObjectHandle::newInteger(static_cast<long long>(data.size())));
    dictionary = entries.unparse();
}

#include "engine/pdf/actions.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <vector>

namespace
{

constexpr int maximumDepth = 64;
constexpr int maximumActions = 4096;

/// Actions that stay within the document (table 198). All others go, also ones not known here.
constexpr std::array<std::string_view, 7> internalActions = {"/GoTo",        "/Thread", "/Named",    "/Hide",
                                                             "/SetOCGState", "/Trans",  "/ResetForm"};

bool isInternal(QPDFObjectHandle action)
{
    QPDFObjectHandle kind = action.getKey("/S");
    if (!kind.isName())
        return false;
    const std::string name = kind.getName();
    // A file makes a destination or thread one of another document.
    return std::find(internalActions.begin(), internalActions.end(), name) != internalActions.end() &&
           !action.hasKey("/F");
}

class Sieve
{
public:
    /// The actions that are left of `action` and those after it.
    std::vector<QPDFObjectHandle> left(QPDFObjectHandle action, int depth)
    {
        if (!action.isDictionary() || depth > maximumDepth || ++m_count > maximumActions || !isNew(action))
            return {};
        std::vector<QPDFObjectHandle> next;
        QPDFObjectHandle after = action.getKey("/Next");
        const std::vector<QPDFObjectHandle> items =
            after.isArray() ? after.getArrayAsVector() : std::vector<QPDFObjectHandle>{after};
        for (const QPDFObjectHandle &item : items) {
            const std::vector<QPDFObjectHandle> more = left(item, depth + 1);
            next.insert(next.end(), more.begin(), more.end());
        }
        if (!isInternal(action))
            return next;
        if (next.empty())
            action.removeKey("/Next");
        else
            action.replaceKey("/Next", next.size() == 1 ? next.front() : QPDFObjectHandle::newArray(next));
        return {action};
    }

private:
    /// Chains that bite their tail would go on for ever.
    bool isNew(const QPDFObjectHandle &action)
    {
        return !action.isIndirect() || m_seen.insert(action.getObjGen()).second;
    }

    std::set<QPDFObjGen> m_seen;
    int m_count = 0;
};

} // namespace

QPDFObjectHandle internalAction(QPDFObjectHandle action)
{
    if (!action.isDictionary())
        return action;
    std::vector<QPDFObjectHandle> left = Sieve().left(action, 0);
    if (left.empty())
        return QPDFObjectHandle::newNull();
    if (left.size() == 1)
        return left.front();
    // Several are left of a chain whose first is gone: the first of them leads the others.
    QPDFObjectHandle first = left.front().shallowCopy();
    QPDFObjectHandle after = first.getKey("/Next");
    std::vector<QPDFObjectHandle> rest = after.isArray()  ? after.getArrayAsVector()
                                         : after.isNull() ? std::vector<QPDFObjectHandle>()
                                                          : std::vector<QPDFObjectHandle>{after};
    rest.insert(rest.end(), left.begin() + 1, left.end());
    first.replaceKey("/Next", QPDFObjectHandle::newArray(rest));
    return first;
}

void keepInternalAction(QPDFObjectHandle holder, const char *key)
{
    if (!holder.hasKey(key))
        return;
    const QPDFObjectHandle left = internalAction(holder.getKey(key));
    if (QPDFObjectHandle(left).isNull())
        holder.removeKey(key);
    else
        holder.replaceKey(key, left);
}

void keepInternalAdditionalActions(QPDFObjectHandle holder)
{
    QPDFObjectHandle actions = holder.getKey("/AA");
    if (!actions.isDictionary())
        return;
    for (const std::string &event : actions.getKeys())
        keepInternalAction(actions, event.c_str());
    if (actions.getKeys().empty())
        holder.removeKey("/AA");
}

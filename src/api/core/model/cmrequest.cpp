#include "api/core/model/cmrequest.h"

namespace {

// Requests cross threads in queued calls by their type's name.
const bool requestsRegistered = qRegisterMetaType<CMGetRowsRequest>() &&
                                qRegisterMetaType<CMGetDataRequest>() &&
                                qRegisterMetaType<CMSetDataRequest>();

} // namespace

CMGetRowsRequest::CMGetRowsRequest(const CMPath& path, int from, int to, const QStringList& roles,
                                   int rowsVersion)
    : CMRequest([&] {
        auto* data = new Data;
        data->kind = GetRows;
        data->path = path;
        data->from = from;
        data->to = to;
        data->roles = roles;
        data->rowsVersion = rowsVersion;
        data->reply = CMReply<PelkRowsRoles>::create();
        return data;
    }())
{
}

CMGetDataRequest::CMGetDataRequest(const CMPath& path, const QStringList& roles)
    : CMRequest([&] {
        auto* data = new Data;
        data->kind = GetData;
        data->path = path;
        data->roles = roles;
        data->reply = CMReply<QVariant>::create();
        return data;
    }())
{
}

CMSetDataRequest::CMSetDataRequest(const CMPath& path, const QString& role, const QVariant& value)
    : CMRequest([&] {
        auto* data = new Data;
        data->kind = SetData;
        data->path = path;
        data->role = role;
        data->value = value;
        data->reply = CMReply<QVariant>::create();
        return data;
    }())
{
}

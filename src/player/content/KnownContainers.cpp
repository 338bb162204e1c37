#include "player/content/KnownContainers.h"

#include "api/types/pelkmediadata.h"
#include "api/types/pelkmetadata.h"

#include <memory>

void KnownContainers::add(const QVector<PelkRoles>& rows)
{
    for (const PelkRoles& row : rows) {
        if (row.type() != PelkRolesType::Container)
            continue;
        auto known = std::make_unique<PelkRoles>();
        for (const QString& role :
             {PelkRoles::Path(), PelkRoles::Title(), PelkRoles::Type(), PelkRoles::Icon(),
              PelkRoles::ContainerType(), PelkRoles::ContainerPlayable()}) {
            const QVariant value = row.value(role);
            if (value.isValid())
                known->insert(role, value);
        }
        const QMutexLocker lock(&m_mutex);
        m_rows.insert(row.path(), known.release());
    }
}

PelkRoles KnownContainers::find(const CMPath& path) const
{
    const QMutexLocker lock(&m_mutex);
    const PelkRoles* const known = m_rows.object(path);
    return known ? *known : PelkRoles();
}

PelkRoles KnownContainers::completed(const PelkRoles& row, const PelkRoles& container)
{
    if (container.containerType() != PelkRolesContainerType::Album)
        return row;
    PelkRoles full = row;
    if (row.icon().isEmpty())
        full.setIcon(container.icon());
    PelkMediaData media = row.mediaData();
    PelkMetaData meta = media.metaData();
    if (meta.album().isEmpty()) {
        meta.setAlbum(container.title().toString());
        media.setMetaData(meta);
        full.setMediaData(media);
    }
    return full;
}

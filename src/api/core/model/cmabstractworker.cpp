#include "api/core/model/cmabstractworker.h"

#include "api/core/model/cmrootworker.h"

CMAbstractWorker* CMRoot()
{
    return CMRootWorker::instance();
}

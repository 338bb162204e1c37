#include "api/play/playlogicinterface.h"

#include <atomic>

namespace {

std::atomic<PlayLogicInterface*> thePlayer{nullptr};

/// The player of a process that has none.
class SilentPlayer final : public PlayLogicInterface
{
public:
    SilentPlayer()
        : PlayLogicInterface(NotThePlayer())
    {
    }
    PelkPlayLogicData data() const override { return PelkPlayLogicData(); }
    CMVoidReply stop(PelkPlayLogicStopReason::Enum /*reason*/) override
    {
        const CMReply<QVariant> reply = CMReply<QVariant>::create();
        reply.setValue(QVariant());
        return reply;
    }
};

} // namespace

PlayLogicInterface::PlayLogicInterface(QObject* parent)
    : QObject(parent)
{
    thePlayer = this;
}

PlayLogicInterface::~PlayLogicInterface()
{
    PlayLogicInterface* self = this;
    thePlayer.compare_exchange_strong(self, nullptr);
}

PlayLogicInterface* PlayLogicInterface::playerInstance()
{
    static SilentPlayer silent;
    PlayLogicInterface* const player = thePlayer;
    return player ? player : &silent;
}

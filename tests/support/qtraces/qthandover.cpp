// Reports to ThreadSanitizer how Qt's events, slots and threads synchronise. Each edge has its own key: the
// event, the call, the copied argument or the thread.

#include "next.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMetaType>
#include <QObject>
#include <QThread>
#include <QThreadStorage>
#include <sanitizer/tsan_interface.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <utility>

// GCC installs no header for it.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*taken)(const volatile void*, std::size_t),
                                                         void (*given)(const volatile void*));

namespace {

/// The blocks that the thread has taken from the heap since it called into Qt to post an event. One of the
/// last is the event: Qt takes it, copies the arguments, which are few, and posts it.
struct Posting
{
    Posting()
        : outer(std::exchange(current(), this))
    {
    }
    ~Posting() { current() = outer; }
    Posting(const Posting&) = delete;
    Posting& operator=(const Posting&) = delete;

    static Posting*& current()
    {
        // Not made on first use, which would itself take a block from the heap.
        __attribute__((tls_model("initial-exec"))) static thread_local Posting* posting = nullptr;
        return posting;
    }
    static void taken(const volatile void* block, std::size_t /*size*/)
    {
        Posting* const posting = current();
        if (!posting)
            return;
        posting->blocks[posting->count++ % posting->blocks.size()] = const_cast<void*>(block);
        __tsan_release(const_cast<void*>(block));
    }
    /// The event's receiver is ordered after everything that this thread did so far.
    static void release()
    {
        if (const Posting* const posting = current())
            for (void* const block : posting->blocks)
                if (block)
                    __tsan_release(block);
    }

    std::array<void*, 16> blocks{};
    std::size_t count = 0;
    Posting* outer;
};

/// The receiving side of every event.
bool received(void** receiverAndEvent)
{
    __tsan_acquire(receiverAndEvent[1]);
    return false;
}

const bool watching = [] {
    __sanitizer_install_malloc_and_free_hooks(Posting::taken, [](const volatile void*) {});
    return QInternal::registerCallback(QInternal::EventNotifyCallback, received);
}();

/// Wraps a slot object, one for each queued call and each connection: the slot is ordered after everything
/// that the calling or connecting thread did before, and a blocking caller after the slot. Runs of the slot
/// are not ordered with each other.
class SlotAfter : public QtPrivate::QSlotObjectBase
{
public:
    /// `once`: the slot belongs to one call. It is deleted on the thread that ran it: whether caller or
    /// receiver releases it last depends on timing, and a caller that is ordered after the run by chance
    /// would hide its late accesses.
    SlotAfter(QSlotObjectBase* slot, bool once)
        : QSlotObjectBase(run)
        , m_slot(slot)
        , m_once(once)
    {
        __tsan_release(&m_made);
    }

    /// Everything that the thread does from now on is ordered after the runs so far.
    void awaited() { __tsan_acquire(&m_ran); }

private:
    static void run(int which, QSlotObjectBase* base, QObject* receiver, void** arguments, bool* equal)
    {
        auto* const self = static_cast<SlotAfter*>(base);
        switch (which) {
        case Destroy:
            if (self->m_slot) { // a connection's, or of a call that is never made, since its receiver has
                                // gone
                __tsan_acquire(&self->m_made);
                self->awaited();
                self->m_slot->destroyIfLastRef();
            }
            delete self;
            break;
        case Call:
            __tsan_acquire(&self->m_made);
            self->m_slot->call(receiver, arguments);
            if (self->m_once)
                std::exchange(self->m_slot, nullptr)->destroyIfLastRef();
            __tsan_release(&self->m_ran);
            break;
        case Compare:
            *equal = self->m_slot->compare(arguments);
            break;
        default:
            break;
        }
    }

    QSlotObjectBase* m_slot;
    bool m_once;
    // Keys: only their addresses count.
    std::uint64_t m_made = 0;
    std::uint64_t m_ran = 0;
};

/// The types whose values Qt copies into events, with functions of the program that registers them. A copy is
/// made after the event, so the receiver must be ordered after the copy; and its destruction after its
/// creation.
struct CopiedType
{
    QByteArray name;
    QMetaType::Constructor construct = nullptr;
    QMetaType::Destructor destroy = nullptr;
};
constexpr std::size_t mostTypes = 512;
std::array<CopiedType, mostTypes>& types()
{
    static std::array<CopiedType, mostTypes> all;
    return all;
}

template <std::size_t number>
void* construct(void* where, const void* original)
{
    void* const copy = types()[number].construct(where, original);
    __tsan_release(where);
    Posting::release();
    return copy;
}

template <std::size_t number>
void destroy(void* copy)
{
    __tsan_acquire(copy);
    types()[number].destroy(copy);
}

template <std::size_t... numbers>
constexpr auto constructors(std::index_sequence<numbers...> /*all*/)
{
    return std::array<QMetaType::Constructor, mostTypes>{construct<numbers>...};
}
template <std::size_t... numbers>
constexpr auto destructors(std::index_sequence<numbers...> /*all*/)
{
    return std::array<QMetaType::Destructor, mostTypes>{destroy<numbers>...};
}

/// Deleted when the thread has ended, after the objects that were deleted with it. A thread that waits for it
/// is ordered after that.
struct ThreadsEnd
{
    QThread* thread;
    ~ThreadsEnd() { __tsan_release(thread); }
};

QThreadStorage<ThreadsEnd*>& threadsEnd()
{
    static QThreadStorage<ThreadsEnd*> storage;
    return storage;
}

} // namespace

void QCoreApplication::postEvent(QObject* receiver, QEvent* event, int priority)
{
    static const auto real =
        next<void (*)(QObject*, QEvent*, int)>("_ZN16QCoreApplication9postEventEP7QObjectP6QEventi");
    __tsan_release(event);
    real(receiver, event, priority);
}

void QObject::deleteLater()
{
    static const auto real = next<void (*)(QObject*)>("_ZN7QObject11deleteLaterEv");
    const Posting posting;
    real(this);
}

bool QMetaObject::invokeMethodImpl(QObject* object, QtPrivate::QSlotObjectBase* slot, Qt::ConnectionType type,
                                   void* result)
{
    static const auto real = next<decltype(&QMetaObject::invokeMethodImpl)>(
        "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv");
    auto* const after = new SlotAfter(slot, true);
    if (type != Qt::BlockingQueuedConnection)
        return real(object, after, type, result);
    after->ref(); // for the key of its end
    const bool called = real(object, after, type, result);
    after->awaited();
    after->destroyIfLastRef();
    return called;
}

bool QMetaObject::invokeMethod(QObject* object, const char* member, Qt::ConnectionType type,
                               QGenericReturnArgument result, QGenericArgument a0, QGenericArgument a1,
                               QGenericArgument a2, QGenericArgument a3, QGenericArgument a4,
                               QGenericArgument a5, QGenericArgument a6, QGenericArgument a7,
                               QGenericArgument a8, QGenericArgument a9)
{
    using A = QGenericArgument;
    static const auto real =
        next<bool (*)(QObject*, const char*, Qt::ConnectionType, QGenericReturnArgument, A, A, A, A, A, A, A,
                      A, A, A)>("_ZN11QMetaObject12invokeMethodEP7QObjectPKcN2Qt14ConnectionTypeE22QGenericRe"
                                "turnArgument16QGenericArgument"
                                "S7_S7_S7_S7_S7_S7_S7_S7_S7_");
    const Posting posting;
    return real(object, member, type, result, a0, a1, a2, a3, a4, a5, a6, a7, a8, a9);
}

void QMetaObject::activate(QObject* sender, const QMetaObject* type, int signal, void** arguments)
{
    static const auto real = next<void (*)(QObject*, const QMetaObject*, int, void**)>(
        "_ZN11QMetaObject8activateEP7QObjectPKS_iPPv");
    const Posting posting;
    real(sender, type, signal, arguments);
}

QMetaObject::Connection QObject::connectImpl(const QObject* sender, void** signal, const QObject* receiver,
                                             void** slotPointer, QtPrivate::QSlotObjectBase* slot,
                                             Qt::ConnectionType type, const int* argumentTypes,
                                             const QMetaObject* senderType)
{
    static const auto real = next<decltype(&QObject::connectImpl)>(
        "_ZN7QObject11connectImplEPKS_PPvS1_S3_"
        "PN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPKiPK11QMetaObject");
    return real(sender, signal, receiver, slotPointer, new SlotAfter(slot, false), type, argumentTypes,
                senderType);
}

int QMetaType::registerNormalizedType(const ::QByteArray& name, Destructor destructor,
                                      Constructor constructor, int size, TypeFlags flags,
                                      const QMetaObject* metaObject)
{
    static const auto real =
        next<int (*)(const ::QByteArray&, Destructor, Constructor, int, TypeFlags, const QMetaObject*)>(
            "_ZN9QMetaType22registerNormalizedTypeERK10QByteArrayPFvPvEPFS3_S3_PKvEi6QFlagsINS_"
            "8TypeFlagEEPK11QMetaObject");
    static constexpr auto construct = constructors(std::make_index_sequence<mostTypes>());
    static constexpr auto destroy = destructors(std::make_index_sequence<mostTypes>());
    static std::atomic<std::size_t> count{0};
    const std::size_t number = count++;
    if (number >= mostTypes) {
        std::fputs("qtraces: more types are registered than there is room for\n", stderr);
        std::abort();
    }
    types()[number] = {name, constructor, destructor};
    return real(name, destroy[number], construct[number], size, flags, metaObject);
}

void QThread::start(Priority priority)
{
    static const auto real = next<void (*)(QThread*, Priority)>("_ZN7QThread5startENS_8PriorityE");
    QObject::connect(
        this, &QThread::started, this, [this] { threadsEnd().setLocalData(new ThreadsEnd{this}); },
        Qt::DirectConnection);
    real(this, priority);
}

bool QThread::wait(QDeadlineTimer deadline)
{
    static const auto real = next<bool (*)(QThread*, QDeadlineTimer)>("_ZN7QThread4waitE14QDeadlineTimer");
    const bool ended = real(this, deadline);
    if (ended)
        __tsan_acquire(this);
    return ended;
}

bool QThread::wait(unsigned long ms)
{
    static const auto real = next<bool (*)(QThread*, unsigned long)>("_ZN7QThread4waitEm");
    const bool ended = real(this, ms);
    if (ended)
        __tsan_acquire(this);
    return ended;
}

bool QThread::isFinished() const
{
    static const auto real = next<bool (*)(const QThread*)>("_ZNK7QThread10isFinishedEv");
    const bool ended = real(this);
    if (ended)
        __tsan_acquire(const_cast<QThread*>(this));
    return ended;
}

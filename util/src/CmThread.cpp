#include "util/include/CmThread.h"

#include <exception>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>

#include "platform/include/thread.h"
#include "util/include/CmMutex.h"
#include "util/src/QueueThread.h"

namespace {

struct NamedThread {
    std::shared_ptr<cm::QueueThread> thread;
    unsigned users = 0;
};

struct NamedThreads {
    cm::Mutex mutex;
    std::map<std::string, NamedThread, std::less<>> threads ZEL_GUARDED_BY(mutex);
};

struct KnownThreads {
    cm::Mutex mutex;
    std::unordered_map<unsigned long, ACmThread*> threads ZEL_GUARDED_BY(mutex);
};

// Neither is ever destroyed: threads may still run while static objects go.
NamedThreads& namedThreads() {
    static NamedThreads& threads = *new NamedThreads;
    return threads;
}

KnownThreads& knownThreads() {
    static KnownThreads& threads = *new KnownThreads;
    return threads;
}

}  // namespace

void ICmEvent::OnDestorySelf() {
    delete this;
}

ACmThreadSingletonFactory& ACmThreadSingletonFactory::Instance() {
    static ACmThreadSingletonFactory factory;
    return factory;
}

int ACmThreadSingletonFactory::GetSingletonThread(const char* name, ACmThread*& thread) {
    thread = nullptr;
    if (name == nullptr) return CM_ERROR_NULL_POINTER;
    NamedThreads& all = namedThreads();
    const cm::LockGuard<cm::Mutex> lock(all.mutex);
    try {
        NamedThread& named = all.threads[name];
        if (named.thread == nullptr) named.thread = cm::QueueThread::start(name);
        ++named.users;
        thread = named.thread.get();
        return 0;
    } catch (const std::exception& error) {
        all.threads.erase(name);
        CM_ERROR("ACmThreadSingletonFactory::GetSingletonThread, no thread, name=" << name
                                                                                   << ", error=" << error.what());
        return CM_ERROR_THREAD_START;
    }
}

int ACmThreadSingletonFactory::ResleseSingletonThread(const char* name, ACmThread* thread) {
    if (name == nullptr || thread == nullptr) return CM_ERROR_NULL_POINTER;
    std::shared_ptr<cm::QueueThread> last;
    {
        NamedThreads& all = namedThreads();
        const cm::LockGuard<cm::Mutex> lock(all.mutex);
        const auto found = all.threads.find(name);
        if (found == all.threads.end() || found->second.thread.get() != thread) return CM_ERROR_INVALID_ARGUMENT;
        if (--found->second.users != 0) return 0;
        last = std::move(found->second.thread);
        all.threads.erase(found);
    }
    last->finish();
    return 0;
}

void cm::registerThread(unsigned long id, ACmThread* thread) {
    KnownThreads& known = knownThreads();
    const LockGuard<Mutex> lock(known.mutex);
    known.threads[id] = thread;
}

void cm::unregisterThread(unsigned long id) {
    KnownThreads& known = knownThreads();
    const LockGuard<Mutex> lock(known.mutex);
    known.threads.erase(id);
}

ACmThread* GetThreadById(unsigned long id) {
    KnownThreads& known = knownThreads();
    const cm::LockGuard<cm::Mutex> lock(known.mutex);
    const auto found = known.threads.find(id);
    return found == known.threads.end() ? nullptr : found->second;
}

int IsEqualCurrentThread(unsigned long id) {
    return platform::currentThreadId() == id ? 1 : 0;
}

int CmGetThreadID() {
    return static_cast<int>(platform::currentThreadId());
}

int CmGetProcessID() {
    return platform::currentProcessId();
}

int kmo_set_thread_name(const char* name) {
    return name != nullptr ? platform::setThreadName(name) : CM_ERROR_NULL_POINTER;
}

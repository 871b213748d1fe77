// The non-template parts of ndk::ICInterface: the binder class whose objects hold their interface
// object, and the way back from a binder to that object.
#include <android/binder_interface_utils.h>

#include "BinderObjects.h"
#include "host/binder_transport.h"

namespace ndk {
namespace {

// The user data of a binder made for an ICInterface: a strong reference to the object, so the
// object lives at least as long as its binder.
struct ICInterfaceData {
    std::shared_ptr<ICInterface> interface;
};

void* OnCreate(void* args) {
    return new ICInterfaceData{static_cast<ICInterface*>(args)->ref<ICInterface>()};
}

void OnDestroy(void* userData) {
    delete static_cast<ICInterfaceData*>(userData);
}

binder_status_t OnDump(AIBinder* binder, int fd, const char** args, uint32_t numArgs) {
    std::shared_ptr<ICInterface> object = host::ObjectBehindBinder(binder);
    return object == nullptr ? STATUS_OK : object->dump(fd, args, numArgs);
}

}  // namespace

binder_status_t ICInterface::dump(int /*fd*/, const char** /*args*/, uint32_t /*numArgs*/) {
    return STATUS_OK;
}

binder_status_t ICInterface::handleShellCommand(int /*in*/, int /*out*/, int /*err*/,
                                                const char** /*argv*/, uint32_t /*argc*/) {
    return STATUS_OK;
}

AIBinder_Class* ICInterface::defineClass(const char* interfaceDescriptor,
                                         AIBinder_Class_onTransact onTransact) {
    AIBinder_Class* clazz = AIBinder_Class_define(interfaceDescriptor, OnCreate, OnDestroy,
                                                  onTransact);
    AIBinder_Class_setOnDump(clazz, OnDump);
    return clazz;
}

std::shared_ptr<ICInterface> ICInterface::asInterface(AIBinder* binder) {
    // A remote binder has no user data: the caller gets a proxy instead.
    if (AIBinder_getUserData(binder) == nullptr) return nullptr;
    return host::ObjectBehindBinder(binder);
}

}  // namespace ndk

namespace host {

std::shared_ptr<ndk::ICInterface> ObjectBehindBinder(AIBinder* binder) {
    if (binder == nullptr || binder->clazz->onCreate != ndk::OnCreate) return nullptr;
    return static_cast<ndk::ICInterfaceData*>(binder->userData)->interface;
}

}  // namespace host

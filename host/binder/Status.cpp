// AStatus: an exception code, an error code (service-specific or transport status) and a message.
#include <android/binder_status.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

struct AStatus {
    binder_exception_t exception = EX_NONE;
    int32_t errorCode = 0;  // service-specific code, or status for EX_TRANSACTION_FAILED
    std::string message;
};

namespace {

binder_exception_t PruneException(binder_exception_t exception) {
    switch (exception) {
        case EX_NONE:
        case EX_SECURITY:
        case EX_BAD_PARCELABLE:
        case EX_ILLEGAL_ARGUMENT:
        case EX_NULL_POINTER:
        case EX_ILLEGAL_STATE:
        case EX_NETWORK_MAIN_THREAD:
        case EX_UNSUPPORTED_OPERATION:
        case EX_SERVICE_SPECIFIC:
        case EX_PARCELABLE:
        case EX_HAS_REPLY_HEADER:
        case EX_TRANSACTION_FAILED:
            return exception;
        default:
            return EX_TRANSACTION_FAILED;
    }
}

const char* ExceptionName(binder_exception_t exception) {
    switch (exception) {
        case EX_NONE: return "EX_NONE";
        case EX_SECURITY: return "EX_SECURITY";
        case EX_BAD_PARCELABLE: return "EX_BAD_PARCELABLE";
        case EX_ILLEGAL_ARGUMENT: return "EX_ILLEGAL_ARGUMENT";
        case EX_NULL_POINTER: return "EX_NULL_POINTER";
        case EX_ILLEGAL_STATE: return "EX_ILLEGAL_STATE";
        case EX_NETWORK_MAIN_THREAD: return "EX_NETWORK_MAIN_THREAD";
        case EX_UNSUPPORTED_OPERATION: return "EX_UNSUPPORTED_OPERATION";
        case EX_SERVICE_SPECIFIC: return "EX_SERVICE_SPECIFIC";
        case EX_PARCELABLE: return "EX_PARCELABLE";
        case EX_HAS_REPLY_HEADER: return "EX_HAS_REPLY_HEADER";
        case EX_TRANSACTION_FAILED: return "EX_TRANSACTION_FAILED";
        default: return "UNKNOWN_EXCEPTION";
    }
}

const char* StatusName(binder_status_t status) {
    switch (status) {
        case STATUS_OK: return "OK";
        case STATUS_UNKNOWN_ERROR: return "UNKNOWN_ERROR";
        case STATUS_NO_MEMORY: return "NO_MEMORY";
        case STATUS_INVALID_OPERATION: return "INVALID_OPERATION";
        case STATUS_BAD_VALUE: return "BAD_VALUE";
        case STATUS_BAD_TYPE: return "BAD_TYPE";
        case STATUS_NAME_NOT_FOUND: return "NAME_NOT_FOUND";
        case STATUS_PERMISSION_DENIED: return "PERMISSION_DENIED";
        case STATUS_NO_INIT: return "NO_INIT";
        case STATUS_ALREADY_EXISTS: return "ALREADY_EXISTS";
        case STATUS_DEAD_OBJECT: return "DEAD_OBJECT";
        case STATUS_FAILED_TRANSACTION: return "FAILED_TRANSACTION";
        case STATUS_BAD_INDEX: return "BAD_INDEX";
        case STATUS_NOT_ENOUGH_DATA: return "NOT_ENOUGH_DATA";
        case STATUS_WOULD_BLOCK: return "WOULD_BLOCK";
        case STATUS_TIMED_OUT: return "TIMED_OUT";
        case STATUS_UNKNOWN_TRANSACTION: return "UNKNOWN_TRANSACTION";
        case STATUS_FDS_NOT_ALLOWED: return "FDS_NOT_ALLOWED";
        case STATUS_UNEXPECTED_NULL: return "UNEXPECTED_NULL";
        default: return nullptr;
    }
}

binder_status_t PruneStatus(binder_status_t status) {
    return StatusName(status) != nullptr ? status : STATUS_UNKNOWN_ERROR;
}

AStatus* NewStatus(binder_exception_t exception, int32_t errorCode, const char* message) {
    AStatus* status = new AStatus;
    status->exception = exception;
    status->errorCode = errorCode;
    if (message != nullptr) status->message = message;
    return status;
}

AStatus* FromException(binder_exception_t exception, const char* message) {
    exception = PruneException(exception);
    const int32_t errorCode = exception == EX_TRANSACTION_FAILED ? STATUS_FAILED_TRANSACTION : 0;
    return NewStatus(exception, errorCode, message);
}

}  // namespace

AStatus* AStatus_newOk() {
    return NewStatus(EX_NONE, 0, nullptr);
}

AStatus* AStatus_fromExceptionCode(binder_exception_t exception) {
    return FromException(exception, nullptr);
}

AStatus* AStatus_fromExceptionCodeWithMessage(binder_exception_t exception, const char* message) {
    return FromException(exception, message);
}

AStatus* AStatus_fromServiceSpecificError(int32_t serviceSpecific) {
    return NewStatus(EX_SERVICE_SPECIFIC, serviceSpecific, nullptr);
}

AStatus* AStatus_fromServiceSpecificErrorWithMessage(int32_t serviceSpecific, const char* message) {
    return NewStatus(EX_SERVICE_SPECIFIC, serviceSpecific, message);
}

AStatus* AStatus_fromStatus(binder_status_t status) {
    status = PruneStatus(status);
    if (status == STATUS_OK) return AStatus_newOk();
    return NewStatus(EX_TRANSACTION_FAILED, status, nullptr);
}

bool AStatus_isOk(const AStatus* status) {
    return status->exception == EX_NONE;
}

binder_exception_t AStatus_getExceptionCode(const AStatus* status) {
    return status->exception;
}

int32_t AStatus_getServiceSpecificError(const AStatus* status) {
    return status->exception == EX_SERVICE_SPECIFIC ? status->errorCode : 0;
}

binder_status_t AStatus_getStatus(const AStatus* status) {
    return status->exception == EX_TRANSACTION_FAILED ? status->errorCode : STATUS_OK;
}

const char* AStatus_getMessage(const AStatus* status) {
    return status->message.c_str();
}

const char* AStatus_getDescription(const AStatus* status) {
    std::string description;
    if (status->exception == EX_NONE) {
        description = "No error";
    } else {
        description = "Status(" + std::to_string(status->exception) + ", " +
                      ExceptionName(status->exception) + "): '";
        if (status->exception == EX_SERVICE_SPECIFIC) {
            description += std::to_string(status->errorCode) + ": ";
        } else if (status->exception == EX_TRANSACTION_FAILED) {
            const char* name = StatusName(status->errorCode);
            description += name != nullptr ? std::string(name) : std::to_string(status->errorCode);
            description += ": ";
        }
        description += status->message + "'";
    }
    return strdup(description.c_str());
}

void AStatus_deleteDescription(const char* description) {
    free(const_cast<char*>(description));
}

void AStatus_delete(AStatus* status) {
    delete status;
}

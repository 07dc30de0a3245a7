#include "orv/tm/kinds.h"

namespace orv::tm {

const char* name_of(TMV kind) {
    switch (kind) {
        case TMV_INT8:
            return "int8";
        case TMV_UINT8:
            return "uint8";
        case TMV_INT16:
            return "int16";
        case TMV_UINT16:
            return "uint16";
        case TMV_INT32:
            return "int32";
        case TMV_UINT32:
            return "uint32";
        case TMV_INT64:
            return "int64";
        case TMV_UINT64:
            return "uint64";
        case TMV_DOUBLE:
            return "double";
        case TMV_BOOL:
            return "bool";
        case TMV_STRING:
            return "string";
        case TMV_STRUCT:
            return "struct";
        case TMV_ARRAY:
            return "array";
    }
    return "unknown kind";
}

const char* name_of(TMT type) {
    switch (type) {
        case TMT_REQUEST:
            return "request";
        case TMT_RESPONSE:
            return "response";
        case TMT_FAULT:
            return "fault";
    }
    return "unknown type";
}

}  // namespace orv::tm

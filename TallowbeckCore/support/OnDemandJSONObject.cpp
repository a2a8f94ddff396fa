#include "TallowbeckCore/support/OnDemandJSONObject.hpp"

namespace tallowbeck {

using simdjson::ondemand::json_type;

OnDemandJSONObject OnDemandJSONObject::from(simdjson::ondemand::value element,
                                            std::string_view what) {
    simdjson::ondemand::object object;
    if (const simdjson::error_code error = element.get_object().get(object)) {
        if (typeOf(element) != json_type::object) {
            throw DecodingError::notAnObject(what);
        }
        throwMalformed(error);
    }
    return OnDemandJSONObject(object);
}

// Text that merely starts like null is malformed, as the tree parser finds it.
void OnDemandJSONObject::explainUnread(simdjson::ondemand::value& value, simdjson::error_code error,
                                       json_type type, std::string_view key,
                                       std::string_view expected) {
    bool null = false;
    if (value.is_null().get(null) != simdjson::SUCCESS) {
        throwMalformed(simdjson::N_ATOM_ERROR);
    }
    if (null) {
        return;
    }
    if (typeOf(value) != type) {
        throw DecodingError::wrongType(key, expected);
    }
    throwMalformed(error);
}

json_type OnDemandJSONObject::typeOf(simdjson::ondemand::value& value) {
    json_type type{};
    if (const simdjson::error_code error = value.type().get(type)) {
        throwMalformed(error);
    }
    return type;
}

void OnDemandJSONObject::throwMalformed(simdjson::error_code error) {
    throw DecodingError::malformedJSON(simdjson::error_message(error));
}

}  // namespace tallowbeck

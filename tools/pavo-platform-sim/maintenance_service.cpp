// Terminal maintenance services: system and resource upgrade offers, the status report and
// the extended service. Called through the service table of platform.cpp.
#include "services.h"

namespace sim {
namespace {

// FileHash is the SHA-1 of the offered file as 40 upper-case hexadecimal characters, the
// form in which the terminal's own SHA-1 helper writes digests.
std::string offer_answer(const ServiceCall& call, const UpgradeOffer& offer,
                         const char* mode_element)
{
    return answer_document(kSuccess,
                           {response_element({
                               {mode_element, std::to_string(offer.mode)},
                               {"LastedVersion", offer.version},
                               {"FileURL", call.addresses.base + "/files/" + offer.file},
                               {"FileHash", offer.hash},
                           })});
}

}  // namespace

std::string handle_upgrade_os(ServiceCall& call)
{
    return offer_answer(call, call.data.os_offer, "UpgradeMode");
}

// The resource offer names its mode "UpdateMode", unlike the system offer.
std::string handle_upgrade_res(ServiceCall& call)
{
    return offer_answer(call, call.data.resource_offer, "UpdateMode");
}

std::string handle_report(ServiceCall&) { return answer_document(kSuccess); }

// The terminal hands this answer to the application unparsed; echoing the request lets an
// application see exactly what arrived.
std::string handle_extended_service(ServiceCall& call)
{
    return answer_document(kSuccess, {response_element({
                                         {"ServiceCode", call.form.text("ServiceCode")},
                                         {"ServiceParam", call.form.text("ServiceParam")},
                                     })});
}

}  // namespace sim

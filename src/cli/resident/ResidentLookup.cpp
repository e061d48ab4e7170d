#include "cli/resident/ResidentLookup.h"

#include <unistd.h>

#include <utility>

namespace nookery::cli {

ResidentLookup::ResidentLookup(const Places& places, FileSystem& files,
                               const ContentDigester& digester, Connect connect)
    : place_(residentSocket(places, files, digester)), connect_(std::move(connect)) {}

bool ResidentLookup::isThere() const {
    const int descriptor = connect_(place_);
    if (descriptor >= 0) ::close(descriptor);
    return descriptor >= 0;
}

std::unique_ptr<ResidentClient> ResidentLookup::find(const Interrupts& interrupts) const {
    auto resident = connect(interrupts);
    if (!resident) return nullptr;
    switch (resident->greeting()) {
        case ResidentClient::Greeting::ofThisVersion:
            return resident;
        case ResidentClient::Greeting::ofAnother:
            resident->endResident();
            break;
        case ResidentClient::Greeting::none:
            break;
    }
    return nullptr;
}

bool ResidentLookup::end(const Interrupts& interrupts) const {
    const auto resident = connect(interrupts);
    if (resident) resident->endResident();
    return resident != nullptr;
}

std::unique_ptr<ResidentClient> ResidentLookup::connect(const Interrupts& interrupts) const {
    const int descriptor = connect_(place_);
    return descriptor < 0 ? nullptr : std::make_unique<ResidentClient>(descriptor, interrupts);
}

}  // namespace nookery::cli

#pragma once

#include <memory>

#include "platform/PropertyListFormat.h"

namespace nookery {

/// XML property lists by libxml2: no entities but the five predefined ones, no network, no
/// document type of the file's own.
std::unique_ptr<PropertyListFormat> makeXmlPropertyLists();

}  // namespace nookery

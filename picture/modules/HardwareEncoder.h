#pragma once

#include <string>

namespace reelwright::picture {

/// The encoder of this machine's hardware for what the encoder of that name makes. It is tried with a
/// picture, since libraries name encoders of machines that this one is not. Empty where none works.
std::string workingHardwareEncoder(const std::string& software);

} // namespace reelwright::picture

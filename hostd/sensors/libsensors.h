#pragma once

#include <sensors/sensors.h>

#include <optional>

#include "hostd/sensors/sensor_choice.h"

namespace hostd {

/// libsensors' identification of a sensor. Both pointers are the library's.
struct SensorHandle {
    const sensors_chip_name* chip;
    const sensors_feature* feature;
};

/// libsensors, initialized. The library's state is global: instances that exist at the same time share it, for any
/// threads, since reading doesn't change it. So a reading that hangs doesn't block others. Configuration and chips are
/// read by the first instance. Chips and drivers that are added later are found once no instance exists any more.
class LibSensors {
  public:
    LibSensors();
    ~LibSensors();
    LibSensors(const LibSensors&) = delete;
    LibSensors& operator=(const LibSensors&) = delete;

    /// Calls `call` with each feature of each chip; never if the library couldn't be initialized.
    template <class Call>
    void forEach(const Call& call) const {
        int chipAt = 0;
        while (const sensors_chip_name* chip = isOpen_ ? sensors_get_detected_chips(nullptr, &chipAt) : nullptr) {
            int featureAt = 0;
            while (const sensors_feature* feature = sensors_get_features(chip, &featureAt))
                call(SensorHandle{chip, feature});
        }
    }

  private:
    bool isOpen_;
};

/// Names and labels as sensors(1) prints them.
[[nodiscard]] Sensor describe(const SensorHandle& handle);
/// A value of a sensor. Nothing if it has none of this type, or the driver doesn't report it. Can block.
[[nodiscard]] std::optional<double> valueOf(const SensorHandle& handle, sensors_subfeature_type type);

}  // namespace hostd

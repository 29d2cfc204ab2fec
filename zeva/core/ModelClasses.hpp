// Every model class is registered by name before main runs, so that an
// archive can name any of them; the keyed-archive reader only asks the class
// registry. Each subsystem lists its own classes in its own folder.
#pragma once

namespace zeva {

void registerTimeClasses();       // zeva/time/TimeClasses.cpp
void registerEventClasses();      // zeva/events/EventClasses.cpp
void registerInventoryClasses();  // zeva/inventory/InventoryClasses.cpp
void registerWaveformClasses();   // zeva/waveform/WaveformClasses.cpp

// All subsystems' classes. Idempotent.
void registerModelClasses();

}  // namespace zeva

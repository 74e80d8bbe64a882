#include "tav/foundation/weak_registrar.hpp"

namespace tav {

SerialQueue& weakRegistrarNotifyQueue() {
  // Never destroyed: registrars may notify from static destructors of the host.
  static SerialQueue* queue = new SerialQueue("com.morvane.tav.WeakRegistrar.notify");
  return *queue;
}

}  // namespace tav

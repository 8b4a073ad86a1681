// The one table behind every HANDLE: files, threads, events and semaphores.
//
// A handle is a small number that the table turns into an object, so that a closed or invented one is
// noticed. An object lives as long as a handle or an operation holds it.
#pragma once

#include <memory>

#include "qv/platform/base.h"

namespace qv::platform {

// What a handle stands for.
class Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;
};

// Opens a handle to the object; null if there are too many.
HANDLE openHandle(std::shared_ptr<Object> object);

// The object behind a handle, or null.
std::shared_ptr<Object> objectOf(HANDLE handle);

// The object behind a handle if it is of this kind; null, and the last error set, if not.
template <typename T>
std::shared_ptr<T> objectOf(HANDLE handle) {
  auto object = std::dynamic_pointer_cast<T>(objectOf(handle));
  if (!object) SetLastError(ERROR_INVALID_HANDLE);
  return object;
}

}  // namespace qv::platform

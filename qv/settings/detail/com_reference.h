// A counted reference that releases itself.
//
//   Reference<IXMLDOMNode> root;
//   HRESULT status = XMLCreateAndAddElement(document, document, TEXT("root"), root.place());
#pragma once

#include "qv/platform/dom.h"

namespace qv {

template <typename Interface>
class Reference {
 public:
  Reference() = default;
  ~Reference() { reset(); }
  Reference(Reference&& other) noexcept : object_(other.object_) { other.object_ = nullptr; }
  Reference& operator=(Reference&& other) noexcept {
    if (this != &other) {
      reset();
      object_ = other.object_;
      other.object_ = nullptr;
    }
    return *this;
  }

  Interface* get() const { return object_; }
  Interface* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  // Where a call puts a reference; what was held goes.
  Interface** place() {
    reset();
    return &object_;
  }
  // Gives the reference away.
  Interface* take() {
    Interface* object = object_;
    object_ = nullptr;
    return object;
  }
  void reset() {
    if (object_ != nullptr) object_->Release();
    object_ = nullptr;
  }

 private:
  Interface* object_ = nullptr;
};

// A string that frees itself; null when memory ran out.
class OwnedBstr {
 public:
  OwnedBstr() = default;
  explicit OwnedBstr(const WCHAR* text) : text_(SysAllocString(text)) {}
  ~OwnedBstr() { SysFreeString(text_); }
  OwnedBstr(const OwnedBstr&) = delete;
  OwnedBstr& operator=(const OwnedBstr&) = delete;

  BSTR get() const { return text_; }
  BSTR* place() { return &text_; }

 private:
  BSTR text_ = nullptr;
};

// A value that clears itself.
class OwnedVariant {
 public:
  OwnedVariant() { VariantInit(&value_); }
  ~OwnedVariant() { VariantClear(&value_); }
  OwnedVariant(const OwnedVariant&) = delete;
  OwnedVariant& operator=(const OwnedVariant&) = delete;

  VARIANT& get() { return value_; }
  VARIANT* place() { return &value_; }

 private:
  VARIANT value_;
};

}  // namespace qv

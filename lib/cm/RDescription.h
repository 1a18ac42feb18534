#pragma once

#include "lib/cm/CMExport.h"
#include "lib/cm/object_refcount.h"

namespace QOR::CM {

/// The description of a stream. A component gets it from a reader and sets the same or another one
/// on its writer. It does not change once a component can see it.
class CM_API RDescription : public lumbase::object_refcount {
 public:
  /// Luma pixels per row.
  virtual unsigned int width() const = 0;

  /// Number of luma rows.
  virtual unsigned int height() const = 0;

 protected:
  RDescription();
  ~RDescription() override;
};

}  // namespace QOR::CM

#pragma once

#include "lib/cm/CMExport.h"
#include "lib/cm/object_refcount.h"

namespace QOR::CM {

/// What a stream carries. A reader hands it out, a component passes it or another one on to its
/// writer. It does not change once a component can see it.
class CM_API RDescription : public lumbase::object_refcount {
 public:
  /// Luma pixels in a row.
  virtual unsigned int width() const = 0;

  /// Luma rows.
  virtual unsigned int height() const = 0;

 protected:
  RDescription();
  ~RDescription() override;
};

}  // namespace QOR::CM

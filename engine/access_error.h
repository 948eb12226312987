// Error appliers: a small family that MIB code uses to set a request's
// error status. The engine itself never raises them.
#ifndef ENGINE_ACCESS_ERROR_H
#define ENGINE_ACCESS_ERROR_H

struct Context;

class AccessError {
 public:
  virtual void apply(Context&) const {}
  virtual ~AccessError() = default;
};

// noSuchName, and marks the context's pathMissing.
class PathNotExists : public AccessError {
 public:
  void apply(Context& ctx) const override;
};

// genErr.
class MiscError : public AccessError {
 public:
  void apply(Context& ctx) const override;
};

// genErr.
class InvalidOID : public AccessError {
 public:
  void apply(Context& ctx) const override;
};

#endif

// OID: an SNMP object identifier, a sequence of unsigned 32-bit arcs.
//
// Ordered lexicographically by unsigned arc, a prefix before its extensions.
// Parsing from text never fails (see the constructor). The pop and as
// families take table-index components from the front of an identifier:
// a pop call moves the component's arcs into an output OID, the matching as
// call turns those arcs into a value. None of them range-checks on
// construction; every failure is a false return with both operands left as
// they were unless said otherwise.
#ifndef CODEC_OID_H
#define CODEC_OID_H

#include <initializer_list>
#include <string>
#include <vector>

class OID {
 public:
  OID() = default;
  // Parses dotted text. One dot separates; a leading or trailing dot adds
  // nothing, two dots in a row count as one, three yield a 0 arc; a
  // non-digit component reads 0; arcs wrap modulo 2^32. Never fails.
  explicit OID(const std::string& text);
  OID(std::initializer_list<unsigned> arcs) : arcs_(arcs) {}

  // Dotted text with a dot before every arc (".1.3.6"); empty for an empty OID.
  std::string str() const;
  // The same without the leading dot ("1.3.6"), as diagnostics print it.
  std::string dotted() const;

  OID& operator+=(unsigned arc);
  OID operator+(unsigned arc) const;
  OID& operator+=(const OID& other);
  OID operator+(const OID& other) const;

  bool operator==(const OID& o) const { return arcs_ == o.arcs_; }
  bool operator!=(const OID& o) const { return arcs_ != o.arcs_; }
  bool operator<(const OID& o) const;

  // The "as" family: the whole OID as one value.
  bool asUnsigned(unsigned* out) const;            // exactly 1 arc
  bool asIP(unsigned* out) const;                  // 4 arcs <= 255, arc0 least significant
  bool asString(std::string* out) const;           // length-prefixed
  bool asString(unsigned len, std::string* out) const;  // exactly len arcs <= 255
  bool asOID(unsigned n, OID* out) const;          // exactly n arcs: a copy
  bool asOID(OID* out) const;                      // length-prefixed; always true

  // The "pop" family: move the leading component into `out`.
  bool popOID(unsigned n, OID* out);
  bool popOID(OID* out);                           // length arc kept in `out`
  bool popString(OID* out);                        // length arc kept in `out`
  bool popString(unsigned len, OID* out);
  bool popIP(OID* out);
  bool popUnsigned(OID* out);

  // Compares arcs [pos, pos + min(n, size - pos)) with all of `other`:
  // -1, 0 or 1.
  int compare(size_t pos, size_t n, const OID& other) const;
  // Arcs [pos, pos + min(n, size - pos)); n = npos means to the end.
  OID substr(size_t pos, size_t n = npos) const;
  // Whether the first arcs are those of `prefix` (every OID starts with
  // the empty one and with itself).
  bool startsWith(const OID& prefix) const;

  static constexpr size_t npos = static_cast<size_t>(-1);

  size_t size() const { return arcs_.size(); }
  bool empty() const { return arcs_.empty(); }
  unsigned operator[](size_t i) const { return arcs_[i]; }
  unsigned& operator[](size_t i) { return arcs_[i]; }
  const std::vector<unsigned>& arcs() const { return arcs_; }
  std::vector<unsigned>& arcs() { return arcs_; }
  void clear() { arcs_.clear(); }

 private:
  std::vector<unsigned> arcs_;
};

// Lexicographic comparison of two arc ranges by unsigned arc, a proper
// prefix comparing as smaller: -1, 0 or 1.
int compare(const unsigned* a_begin, const unsigned* a_end,
            const unsigned* b_begin, const unsigned* b_end);

// The one-arc OID 0: the instance suffix of every scalar.
extern const OID kZeroOid;

#endif

// The membership service client interface: what a client library must offer for Vantor to
// load it. A client is a shared object that exports GetKSVLibraryInterface; every object it
// hands out is reference counted and answers the operations below, in this table order. The
// order is the binary contract: never insert, remove or reorder a virtual function here.
//
// Table places, counted from 0 in the object's table of virtual functions:
//   every object: 0 QueryInterface, 1 AddRef, 2 Release, 3 Destroy
//   values, lists and maps: 4 Get or Next
//   the library object: 4 SetAuthInfo, 9 GetServerTime, 24 ListTags, 52 GetStorageInfo
//
// None of the interfaces has a virtual destructor: one would take two table places in the
// Itanium C++ ABI and shift every place after it. Place 3 is Destroy instead, which frees the
// object and which only the object's own Release calls.
//
// Not thread-safe unless stated: Vantor calls a client from one thread at a time, but counts
// must be atomic since the client's own threads may hold the same objects.
#pragma once

#include <cstdint>

namespace KSV {

// A four-letter code: the first character in the top byte.
using Code = std::uint32_t;
// An operation's result: 0 for success, otherwise a four-letter code.
using Status = std::int32_t;

constexpr Code MakeCode(const char (&text)[5]) {
  return static_cast<Code>(static_cast<unsigned char>(text[0])) << 24 |
         static_cast<Code>(static_cast<unsigned char>(text[1])) << 16 |
         static_cast<Code>(static_cast<unsigned char>(text[2])) << 8 |
         static_cast<Code>(static_cast<unsigned char>(text[3]));
}

// Every code that fits a status has its top bit clear, so the conversion keeps the number.
constexpr Status MakeStatus(const char (&text)[5]) {
  return static_cast<Status>(MakeCode(text));
}

// The version that GetKSVLibraryInterface is asked for.
inline constexpr int kInterfaceVersion = 1;

namespace codes {

// Interface ids, for QueryInterface.
inline constexpr Code bAsE = MakeCode("bAsE");
inline constexpr Code bStr = MakeCode("bStr");
inline constexpr Code sint = MakeCode("sint");
inline constexpr Code uint = MakeCode("uint");
inline constexpr Code mapE = MakeCode("mapE");

// Statuses.
inline constexpr Status ok = 0;
inline constexpr Status erro = MakeStatus("erro");  // no such interface, or a null out pointer
inline constexpr Status bufI = MakeStatus("bufI");  // the buffer is too small
inline constexpr Status eEnd = MakeStatus("eEnd");  // past the last item of a list or map
inline constexpr Status icrd = MakeStatus("icrd");  // ListTags: invalid credentials
inline constexpr Status esex = MakeStatus("esex");  // ListTags: expired session

// Keys of the storage map.
inline constexpr Code qsal = MakeCode("qsal");  // quota
inline constexpr Code qsud = MakeCode("qsud");  // storage used

// Keys of a tag (online album) map.
inline constexpr Code tgti = MakeCode("tgti");  // title
inline constexpr Code thie = MakeCode("thie");  // parents
inline constexpr Code srid = MakeCode("srid");  // online id
inline constexpr Code ttty = MakeCode("ttty");  // album type; "album group" for a group
inline constexpr Code acpu = MakeCode("acpu");  // access; "r" for a shared flat album
inline constexpr Code tpri = MakeCode("tpri");  // privacy; "public" for a public album
inline constexpr Code gtmi = MakeCode("gtmi");  // template id
inline constexpr Code tapr = MakeCode("tapr");  // permissions

}  // namespace codes

// The base of every object. A new object has a count of 1, owned by whoever received it.
class Base {
 public:
  // Sets *out to null, then, for the object's own interface id or bAsE, to this object with one
  // more reference, and returns 0. Any other id, or a null `out`, gives erro.
  virtual Status QueryInterface(Code iid, void** out) = 0;
  // Adds one reference; returns 0.
  virtual Status AddRef() = 0;
  // Takes one reference off; at zero the object is destroyed. Returns the count left (0 once
  // destroyed, or when the count already was 0).
  virtual Status Release() = 0;

 protected:
  // Frees the object. Called only from its own Release.
  virtual void Destroy() = 0;
  ~Base() = default;
};

// A text value, interface id bStr.
class StringValue : public Base {
 public:
  // When `buffer` is not null and *size is at least the length plus 1, copies the text with its
  // terminating zero and returns 0. Always sets *size to the length plus 1; gives bufI when it
  // did not copy.
  virtual Status Get(char* buffer, unsigned* size) = 0;

 protected:
  ~StringValue() = default;
};

// A signed 32-bit value, interface id sint.
class SignedInt32Value : public Base {
 public:
  virtual Status Get(std::int32_t* out) = 0;

 protected:
  ~SignedInt32Value() = default;
};

// An unsigned 32-bit value, interface id uint. The keys of a map are such values.
class UnsignedInt32Value : public Base {
 public:
  virtual Status Get(std::uint32_t* out) = 0;

 protected:
  ~UnsignedInt32Value() = default;
};

// A forward sequence of objects.
class List : public Base {
 public:
  // Gives the next item, with a reference for the caller, and 0; eEnd past the last.
  virtual Status Next(Base** item) = 0;

 protected:
  ~List() = default;
};

// A forward sequence of key and value pairs, interface id mapE.
class Map : public Base {
 public:
  // Gives the next key (an UnsignedInt32Value holding a code) and value (a StringValue), each
  // with a reference for the caller, and 0; eEnd past the last.
  virtual Status Next(Base** key, Base** value) = 0;

 protected:
  ~Map() = default;
};

// The client's library object. Reserved places keep the four operations at their numbers; a
// client need not override them, and Vantor never calls them.
class Library : public Base {
 public:
  // Authenticates with the user's ticket text; 0 when the service accepts it.
  virtual Status SetAuthInfo(StringValue* ticket) = 0;  // place 4
  virtual Status Reserved5() { return codes::erro; }
  virtual Status Reserved6() { return codes::erro; }
  virtual Status Reserved7() { return codes::erro; }
  virtual Status Reserved8() { return codes::erro; }
  // The server's clock as text; needs no authentication.
  virtual Status GetServerTime(StringValue** time) = 0;  // place 9
  virtual Status Reserved10() { return codes::erro; }
  virtual Status Reserved11() { return codes::erro; }
  virtual Status Reserved12() { return codes::erro; }
  virtual Status Reserved13() { return codes::erro; }
  virtual Status Reserved14() { return codes::erro; }
  virtual Status Reserved15() { return codes::erro; }
  virtual Status Reserved16() { return codes::erro; }
  virtual Status Reserved17() { return codes::erro; }
  virtual Status Reserved18() { return codes::erro; }
  virtual Status Reserved19() { return codes::erro; }
  virtual Status Reserved20() { return codes::erro; }
  virtual Status Reserved21() { return codes::erro; }
  virtual Status Reserved22() { return codes::erro; }
  virtual Status Reserved23() { return codes::erro; }
  // The user's online albums: a list whose items answer mapE with the tag map keys. A failure
  // status is shown to the user: icrd and esex ask for a new sign-in.
  virtual Status ListTags(List** tags) = 0;  // place 24
  virtual Status Reserved25() { return codes::erro; }
  virtual Status Reserved26() { return codes::erro; }
  virtual Status Reserved27() { return codes::erro; }
  virtual Status Reserved28() { return codes::erro; }
  virtual Status Reserved29() { return codes::erro; }
  virtual Status Reserved30() { return codes::erro; }
  virtual Status Reserved31() { return codes::erro; }
  virtual Status Reserved32() { return codes::erro; }
  virtual Status Reserved33() { return codes::erro; }
  virtual Status Reserved34() { return codes::erro; }
  virtual Status Reserved35() { return codes::erro; }
  virtual Status Reserved36() { return codes::erro; }
  virtual Status Reserved37() { return codes::erro; }
  virtual Status Reserved38() { return codes::erro; }
  virtual Status Reserved39() { return codes::erro; }
  virtual Status Reserved40() { return codes::erro; }
  virtual Status Reserved41() { return codes::erro; }
  virtual Status Reserved42() { return codes::erro; }
  virtual Status Reserved43() { return codes::erro; }
  virtual Status Reserved44() { return codes::erro; }
  virtual Status Reserved45() { return codes::erro; }
  virtual Status Reserved46() { return codes::erro; }
  virtual Status Reserved47() { return codes::erro; }
  virtual Status Reserved48() { return codes::erro; }
  virtual Status Reserved49() { return codes::erro; }
  virtual Status Reserved50() { return codes::erro; }
  virtual Status Reserved51() { return codes::erro; }
  // The storage figures: a map with qsal and qsud, texts in bytes.
  virtual Status GetStorageInfo(Map** storage) = 0;  // place 52

 protected:
  ~Library() = default;
};

}  // namespace KSV

// The client's one export. Stores a new library object, with a reference for the caller, in
// *library and returns 0; any other result means the client cannot serve `version`.
using GetKSVLibraryInterfaceFn = int (*)(void** library, int version);
extern "C" {
#if defined(__GNUC__)
__attribute__((visibility("default")))
#endif
int GetKSVLibraryInterface(void** library, int version);
}

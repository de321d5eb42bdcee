// The geospatial properties of a field that holds geometries (CFGeo) and their bounding box
// (CFGeoEnvelope).
//
// Every property is optional and carries its own set flag, so that a property never given is
// told apart from one given as zero or false. Each getter hands the flag out through its
// `bool&` and returns the value, which for a property never set is its default. Reading never
// throws for bad content. Copies are deep and keep no link to the document they came from.
#ifndef CFMETA_FIELD_CFGEO_H_
#define CFMETA_FIELD_CFGEO_H_

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "cfmeta/cfmeta_export.h"

namespace CfExtension {
class CFXMLWrapper;
}

// A value of CFGeo or CFGeoEnvelope beside its set flag.
template <typename T>
struct CFGeoProperty {
  T value;
  bool isSet;
  // The value; `set` receives the flag.
  const T& Get(bool& set) const {
    set = isSet;
    return value;
  }
  void Set(T newValue) {
    value = std::move(newValue);
    isSet = true;
  }
};

// A bounding box: the left-upper and right-lower corners, each coordinate set or not. Default
// coordinates are 0.0 and not set.
class CFMETA_API CFGeoEnvelope {
 public:
  CFGeoEnvelope() = default;
  // Reads an XMLElements::GeoEnvelope element. Each coordinate that is there as a finite
  // number is set; one that is absent, unreadable or not finite stays unset without affecting
  // the others.
  explicit CFGeoEnvelope(const CfExtension::CFXMLWrapper& element);

  double GetLeftUpperX(bool& isSet) const { return m_leftUpperX.Get(isSet); }
  double GetLeftUpperY(bool& isSet) const { return m_leftUpperY.Get(isSet); }
  double GetRightLowerX(bool& isSet) const { return m_rightLowerX.Get(isSet); }
  double GetRightLowerY(bool& isSet) const { return m_rightLowerY.Get(isSet); }
  void SetLeftUpperX(double value) { m_leftUpperX.Set(value); }
  void SetLeftUpperY(double value) { m_leftUpperY.Set(value); }
  void SetRightLowerX(double value) { m_rightLowerX.Set(value); }
  void SetRightLowerY(double value) { m_rightLowerY.Set(value); }

  // Appends an XMLElements::GeoEnvelope element holding the coordinates that are set. A set
  // coordinate that is not a finite number has no text that reads back and is left out, as if
  // unset. On success `created` points to the new element; otherwise it is null and `parent`
  // is as it was.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  CFGeoProperty<double> m_leftUpperX{0.0, false};
  CFGeoProperty<double> m_leftUpperY{0.0, false};
  CFGeoProperty<double> m_rightLowerX{0.0, false};
  CFGeoProperty<double> m_rightLowerY{0.0, false};
};

// The geometry type, coordinate dimension, coordinate system (by well-known identifier, by
// name or by well-known text), whether it is projected, and an optional envelope.
//
// The default object has no property set: type Polygon, coordinates and wkid 0, empty csname
// and wkt, not projected, no envelope.
class CFMETA_API CFGeo {
 public:
  // Written through CFField::kGeoTypeTable.
  enum Type : int32_t {
    Point = 0,
    MultiPoint = 1,
    LineString = 2,
    MultiLineString = 3,
    Polygon = 4,
    MultiPolygon = 5
  };

  CFGeo();
  // Reads an XMLElements::Geo element. Its attributes are read in the order type,
  // coordinates, csname, isProjected, wkid, wkt; the first that cannot be read (an unknown
  // type, a number that is not a 32-bit integer, a projection flag other than "true" and
  // "false") ends the attribute reading, keeping what was set before it. The envelope is read
  // in any case: the last XMLElements::GeoEnvelope child wins. Should the children not be
  // readable at all, no property is left set and there is no envelope.
  explicit CFGeo(const CfExtension::CFXMLWrapper& element);
  CFGeo(const CFGeo& other);
  CFGeo(CFGeo&& other) noexcept;
  CFGeo& operator=(const CFGeo& other);
  CFGeo& operator=(CFGeo&& other) noexcept;
  ~CFGeo();

  Type GetType(bool& isSet) const { return m_type.Get(isSet); }
  int32_t GetCoordinates(bool& isSet) const { return m_coordinates.Get(isSet); }
  int32_t GetWkid(bool& isSet) const { return m_wkid.Get(isSet); }
  bool GetIsProjected(bool& isSet) const { return m_isProjected.Get(isSet); }
  std::string GetWkt(bool& isSet) const { return m_wkt.Get(isSet); }
  std::string GetCsname(bool& isSet) const { return m_csname.Get(isSet); }
  // Non-owning; null when there is none. Valid until this object next changes.
  const CFGeoEnvelope* GetGeoEnvelope() const { return m_envelope.get(); }

  void SetType(Type type) { m_type.Set(type); }
  void SetCoordinates(int coordinates) { m_coordinates.Set(coordinates); }
  void SetWkid(int wkid) { m_wkid.Set(wkid); }
  void SetIsProjected(bool isProjected) { m_isProjected.Set(isProjected); }
  void SetWkt(const std::string& wkt) { m_wkt.Set(wkt); }
  void SetCsname(const std::string& csname) { m_csname.Set(csname); }
  // Stores a copy; null drops the envelope.
  void SetGeoEnvelope(const CFGeoEnvelope* envelope);

  // Appends an XMLElements::Geo element holding the properties that are set (a set but empty
  // csname or wkt is left out) and then the envelope. A type outside the table fails the
  // write. On success `created` points to the new element; otherwise it is null and `parent`
  // is as it was.
  void AddToTree(CfExtension::CFXMLWrapper& parent, CfExtension::CFXMLWrapper*& created) const;

 private:
  CFGeoProperty<Type> m_type{Polygon, false};
  CFGeoProperty<int32_t> m_coordinates{0, false};
  CFGeoProperty<int32_t> m_wkid{0, false};
  CFGeoProperty<std::string> m_csname{std::string(), false};
  CFGeoProperty<bool> m_isProjected{false, false};
  CFGeoProperty<std::string> m_wkt{std::string(), false};
  std::unique_ptr<CFGeoEnvelope> m_envelope;

  int ReadAttributes(const CfExtension::CFXMLWrapper& element);
  int ReadEnvelope(const CfExtension::CFXMLWrapper& element);
};

#endif  // CFMETA_FIELD_CFGEO_H_

// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <mutex>

#include "shapes.h"

/// What `ShapesImpl::fail` raises for a seed.
Figures::Everything everything_from(std::int32_t seed);

/// Gives back what it gets; the comments of shapes.idl tell the exceptions from that.
class ShapesImpl final : public Figures::POA_Shapes {
public:
    std::int32_t next() override { return ++counter; }
    std::int32_t count() override { return counter; }
    _Caldane_String title() override;
    void title(const _Caldane_String& value) override;
    Figures::Kind preferred() override;
    void preferred(const Figures::Kind& value) override;

    Figures::Kind echoKind(const Figures::Kind& value) override { return value; }
    char echoChar(char value) override { return value; }
    unsigned char echoOctet(unsigned char value) override { return value; }
    std::uint16_t echoUnsignedShort(std::uint16_t value) override { return value; }
    Figures::Label echoLabel(const Figures::Label& value) override { return value; }
    Figures::Point echoPoint(const Figures::Point& value) override { return value; }
    Figures::Box echoBox(const Figures::Box& value) override { return value; }
    Figures::Grid echoGrid(const Figures::Grid& value) override { return value; }
    Figures::Names echoNames(const Figures::Names& value) override { return value; }
    Figures::Digest echoDigest(const Figures::Digest& value) override { return value; }
    Figures::Octets echoOctets(const Figures::Octets& value) override { return value; }
    Figures::Octets8 echoOctets8(const Figures::Octets8& value) override { return value; }
    Figures::Row echoRow(const Figures::Row& value) override { return value; }
    Figures::Rows echoRows(const Figures::Rows& value) override { return value; }
    Figures::Outlines echoOutlines(const Figures::Outlines& value) override { return value; }
    Figures::Kinds echoKinds(const Figures::Kinds& value) override { return value; }
    Figures::Flags echoFlags(const Figures::Flags& value) override { return value; }
    Figures::Counts echoCounts(const Figures::Counts& value) override { return value; }
    Figures::Doubles echoDoubles(const Figures::Doubles& value) override { return value; }
    Figures::Shape echoShape(const Figures::Shape& value) override { return value; }
    Figures::ShapeList echoShapeList(const Figures::ShapeList& value) override { return value; }
    Figures::ByNumber echoByNumber(const Figures::ByNumber& value) override { return value; }
    Figures::ByFlag echoByFlag(const Figures::ByFlag& value) override { return value; }
    Figures::Node echoNode(const Figures::Node& value) override { return value; }
    Figures::Drawing echoDrawing(const Figures::Drawing& value) override { return value; }
    Figures::Numbers echoNumbers(const Figures::Numbers& value) override { return value; }
    Figures::Stamps echoStamps(const Figures::Stamps& value) override { return value; }
    Figures::Times echoTimes(const Figures::Times& value) override { return value; }
    _Caldane_Any echoAny(const _Caldane_Any& value) override { return value; }
    Figures::Shapes echoShapes(const Figures::Shapes& value) override { return value; }
    _Caldane_Object echoObject(const _Caldane_Object& value) override { return value; }

    void references(const _Caldane_Object& given, _Caldane_Object& other, Figures::Shapes& made) override;
    void turnPlain(std::int16_t& a, std::int32_t& b, std::uint16_t& c, std::uint32_t& d, float& e, double& f,
                   bool& g, char& h, unsigned char& i, _Caldane_String& j, Figures::Label& k) override;
    void turn(Figures::Kind& kind, Figures::Points& points, Figures::Grid& grid, Figures::Shape& shape,
              Figures::Node& tree, _Caldane_Any& extra, Figures::Octets& bytes, Figures::Rows& rows,
              Figures::Drawing& drawing) override;
    void fail(std::int32_t seed) override;
    void nudge(const _Caldane_String& reason) override;

private:
    std::atomic<std::int32_t> counter = 0;
    std::mutex mutex;
    _Caldane_String title_text = "untitled";
    Figures::Kind preferred_kind;
};

#include "tav/structure/frame_rotation.hpp"

#include <cmath>
#include <numbers>

#include "tav/structure/uuid_index.hpp"

namespace tav::FrameRotation {
namespace {

/// A layer's own rotation modulo 360, absent as 0.
int ownRotation(const SceneElement& element) { return element.settings().rotation.value_or(0) % 360; }

/// x' = a x + c y + tx, y' = b x + d y + ty.
struct AffineTransform {
  double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;

  Point apply(Point p) const { return {a * p.x + c * p.y + tx, b * p.x + d * p.y + ty}; }

  /// `first` applied, then `then`.
  static AffineTransform concatenating(const AffineTransform& first, const AffineTransform& then) {
    return {then.a * first.a + then.c * first.b,          then.b * first.a + then.d * first.b,
            then.a * first.c + then.c * first.d,          then.b * first.c + then.d * first.d,
            then.a * first.tx + then.c * first.ty + then.tx, then.b * first.tx + then.d * first.ty + then.ty};
  }

  /// A rotation by `degrees` about `centre`: translate by -centre, rotate, translate back.
  static AffineTransform rotation(int degrees, Point centre) {
    double theta = degrees * std::numbers::pi / 180.0;
    double cosine = std::cos(theta);
    double sine = std::sin(theta);
    return {cosine, sine, -sine, cosine, centre.x - (cosine * centre.x - sine * centre.y),
            centre.y - (sine * centre.x + cosine * centre.y)};
  }
};

class PlacementWalk {
 public:
  PlacementWalk(const std::vector<SceneElement>& elements, Size canvas) : elements_(elements), canvas_(canvas) {}

  SceneLayoutPlacements run(const ResolvedLayoutRects& resolved) {
    for (const auto& [key, rect] : resolved) {
      if (auto id = Uuid::parse(key)) resolved_.tryEmplace(*id, rect);
    }
    for (std::size_t i = 0; i < elements_.size(); ++i) {
      if (const auto& frameID = elements_[i].frameID()) members_[*frameID].push_back(i);
    }
    for (const auto& element : elements_) {
      if (!element.type().isFrame() || element.frameID()) continue;
      const Rect* resolvedRect = resolved_.find(element.id());
      std::optional<Rect> rect = resolvedRect ? std::optional<Rect>(*resolvedRect) : element.settings().rect();
      if (!rect) continue;
      Rect onCanvas = toCanvas(*rect);
      if (resolvedRect) {
        result_.emplace(element.id().toString(),
                        SceneLayoutPlacement(toFractions(onCanvas), folded(ownRotation(element)), 0));
      }
      visit(element, onCanvas, AffineTransform{}, 0, 0);
    }
    return std::move(result_);
  }

 private:
  Rect toCanvas(const Rect& r) const {
    return {r.origin.x * canvas_.width, r.origin.y * canvas_.height, r.size.width * canvas_.width,
            r.size.height * canvas_.height};
  }
  Rect toFractions(const Rect& r) const {
    return {r.origin.x / canvas_.width, r.origin.y / canvas_.height, r.size.width / canvas_.width,
            r.size.height / canvas_.height};
  }

  void visit(const SceneElement& frame, const Rect& box, const AffineTransform& outer, int inheritedSum, int depth) {
    if (depth >= maximumDepth) return;
    int rotation = ownRotation(frame);
    AffineTransform local =
        rotation == 0 ? AffineTransform{} : AffineTransform::rotation(rotation, {box.midX(), box.midY()});
    AffineTransform combined = AffineTransform::concatenating(local, outer);
    int sum = inheritedSum + rotation;
    const auto* members = members_.find(frame.id());
    if (!members) return;
    for (std::size_t index : *members) {
      const SceneElement& member = elements_[index];
      const Rect* resolvedRect = resolved_.find(member.id());
      if (!resolvedRect) continue;
      Rect memberBox = toCanvas(*resolvedRect);
      Point centre = combined.apply({memberBox.midX(), memberBox.midY()});
      Rect landed(centre.x - memberBox.size.width / 2, centre.y - memberBox.size.height / 2, memberBox.size.width,
                  memberBox.size.height);
      result_.emplace(member.id().toString(),
                      SceneLayoutPlacement(toFractions(landed), folded(sum + ownRotation(member)), folded(sum)));
      if (member.type().isFrame()) visit(member, memberBox, combined, sum, depth + 1);
    }
  }

  const std::vector<SceneElement>& elements_;
  Size canvas_;
  detail::UuidMap<Rect> resolved_;
  detail::UuidMap<std::vector<std::size_t>> members_;
  SceneLayoutPlacements result_;
};

}  // namespace

int inheritedRotation(const std::optional<Uuid>& frameID, const std::vector<SceneElement>& elements) {
  std::int64_t sum = 0;
  std::optional<Uuid> current = frameID;
  for (int step = 0; current && step < maximumDepth; ++step) {
    const SceneElement* frame = nullptr;
    for (const auto& element : elements) {
      if (element.id() == *current) {
        frame = &element;
        break;
      }
    }
    if (!frame) break;
    sum += ownRotation(*frame);
    current = frame->frameID();
  }
  return foldedDegrees(sum);
}

SceneLayoutPlacements placements(const ResolvedLayoutRects& resolved, const std::vector<SceneElement>& elements,
                                 Size canvasSize) {
  if (resolved.empty() || !(canvasSize.width > 0) || !(canvasSize.height > 0)) return {};
  return PlacementWalk(elements, canvasSize).run(resolved);
}

}  // namespace tav::FrameRotation

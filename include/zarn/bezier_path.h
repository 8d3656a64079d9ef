// zarn_bezier_path: an editable path of cubic curves, for masks and shapes drawn over images.
//
// Coordinates are pixels: x to the right, y downwards when the path is drawn into an image; the point (0, 0) is the
// corner of the top left pixel, not its centre. Nothing limits them, but only finite ones draw.
//
// A path is edited through its knots. What is measured, moved and drawn is its vertex list, the polyline that
// build_vertex_list() makes from the knots: build it again after an edit.
//
// Operations report no errors but those that draw. A list that cannot grow for want of memory stays as it was, and so
// does the path then, except where a comment says otherwise. Nothing throws. One path is used by one thread at a time;
// the const operations may run at once.
#pragma once

#include <cstdint>

#include <zarn/export.h>
#include <zarn/image_16.h>
#include <zarn/image_8.h>
#include <zarn/image_channel.h>
#include <zarn/image_grayscale.h>
#include <zarn/list.h>
#include <zarn/pixels.h>
#include <zarn/points.h>

/// A point that the path passes through, and the control points of the curves on both sides.
struct ZARN_API zarn_bezier_knot_s {
    /// How the tangents are computed: 0 and 2 smooth, each as long as its side asks; 1 smooth, both of the same length;
    /// 3 corner: both on the knot; 4 and above: left as the host sets them.
    std::uint8_t state;
    zarn_fpoint_s position;
    zarn_fpoint_s in_tangent;  ///< the control point towards the previous knot, as an absolute position
    zarn_fpoint_s out_tangent; ///< the one towards the next knot

    /// State 0, everything at (0, 0).
    zarn_bezier_knot_s()
        : state(0) {}
    zarn_bezier_knot_s(std::uint8_t knot_state, const zarn_fpoint_s& knot_position,
                       const zarn_fpoint_s& knot_in_tangent, const zarn_fpoint_s& knot_out_tangent)
        : state(knot_state)
        , position(knot_position)
        , in_tangent(knot_in_tangent)
        , out_tangent(knot_out_tangent) {}
};

/// Segment i runs from knot i to knot i + 1. A closed path repeats its first knot as its last: n corners are n + 1
/// knots and n segments.
class ZARN_API zarn_bezier_path {
public:
    // ---- Life cycle ------------------------------------------------------------------------------------------------

    /// No knots, no vertices, open.
    zarn_bezier_path();
    /// Releases both lists.
    ~zarn_bezier_path();

    /// Deep copies of knots, vertices and whether the path is closed. Knots that cannot be allocated leave the path
    /// empty, vertices that cannot leave it without vertices.
    zarn_bezier_path(const zarn_bezier_path& other);
    zarn_bezier_path& operator=(const zarn_bezier_path& other);
    /// The same; with_vertices 0: the vertex list is emptied instead.
    void copy(const zarn_bezier_path& other, int with_vertices);

    /// Releases both lists; the path is open then.
    void free();

    // ---- Queries ---------------------------------------------------------------------------------------------------

    /// 1 with at least 2 knots or at least 2 vertices.
    unsigned int is_valid() const { return ___knots.count >= 2 || ___vertices.count >= 2 ? 1u : 0u; }
    /// 1 when the last knot lies on the first one.
    unsigned int is_closed() const { return ___closed; }
    unsigned int get_knot_count() const { return ___knots.count; }
    unsigned int get_vertex_count() const { return ___vertices.count; }

    /// The index is not checked. The pointer is valid until knots are added or removed; what is written through it
    /// recomputes nothing.
    const zarn_bezier_knot_s& get_knot(unsigned int index) const { return ___knots.data[index]; }
    zarn_bezier_knot_s* get_knot_pointer(unsigned int index) { return ___knots.data + index; }

    // ---- Knots -----------------------------------------------------------------------------------------------------
    //
    // Automatic tangents. An inner knot's tangents lie on the line through it that is parallel to its neighbours', at a
    // third of the distance to the neighbour of their side; in state 1 both at a third of the shorter distance. The
    // ends of an open path have their tangents on the knot. On a closed path the ends are one inner knot, whose state
    // is that of the first; with three knots its neighbours are one, and its tangents lie on it.
    //
    // An end of a closed path is edited together with the other end. An open path of more than two knots is closed by
    // an edit that lays one end on the other. A closed path left with fewer than three knots loses its closing knot.

    /// Appends a knot. A position equal to the last knot's is ignored. With more than two knots, one on the first
    /// knot's position closes the path; any other opens it. auto_tangents not 0: recomputes the tangents of all knots,
    /// else the knot's tangents lie on it.
    void push_knot(zarn_fpoint_s position, int auto_tangents, std::uint8_t state);

    /// Inserts a knot before knot `index`; at or past the end it appends, on a closed path before the closing knot. On
    /// a closed path, index 0 makes the knot both ends. A position equal to that of a neighbour is ignored.
    void insert_knot(unsigned int index, zarn_fpoint_s position, int auto_tangents, std::uint8_t state);

    /// Removes a knot and recomputes the tangents. On a closed path, after either end the next knot is both ends.
    void delete_knot(unsigned int index);

    /// Moves a knot with its tangents, then recomputes the tangents.
    void modify_knot_position(unsigned int index, const zarn_fpoint_s& position);

    /// Sets the in_tangent (which 0) or out_tangent (1); another `which` does nothing. In state 1 the other tangent
    /// becomes its mirror image. It stands until an edit recomputes the tangents; in state 4 and above it stands.
    void modify_knot_tangent(unsigned int index, unsigned int which, const zarn_fpoint_s& tangent);

    /// Changes a knot's state and recomputes the tangents.
    void modify_knot_state(unsigned int index, std::uint8_t state);

    /// The point of a segment at t, from 0 (its start) to 1 (its end), in single precision. The index is not checked.
    void interpolate_segment(unsigned int segment, float t, zarn_fpoint_s& out) const;

    // ---- Vertices --------------------------------------------------------------------------------------------------

    /// Replaces the vertex list by the flattened curves. The polyline strays from them by about 0.5 / scale pixels at
    /// most. A segment between two knots of state 3 is a straight line. Neighbouring curves repeat their common point.
    ///
    /// The sign of the scale does not count; 0 and NaN give the coarsest polyline. A scale too fine for floats of the
    /// size of the coordinates is taken as less, so that a curve has some 50000 vertices at most. A segment with a
    /// coordinate that is not finite becomes a line. Without memory for all vertices the list is empty.
    void build_vertex_list(double approximation_scale);

    /// Replaces the vertex list by the knots' positions; empty without memory for them.
    void build_linear_vertex_list();

    /// Replaces the vertex list by a copy. close not 0: repeats the first vertex at the end where the last differs.
    void set_vertex_list(zarn_list<zarn_fpoint_s>& vertices, int close);
    void clear_vertex_list() { ___vertices.clear(); }

    /// The list belongs to the path.
    const zarn_list<zarn_fpoint_s>* get_vertex_list() const { return &___vertices; }
    /// Copies all vertices into an array of at least get_vertex_count() points.
    void get_vertex_list(zarn_fpoint_s* out) const;

    /// The bounds of the vertices. A maximum is never below 1.1754944e-38, the smallest positive float, so that
    /// vertices that all are negative report that one. Without vertices the minimum is (3.4028235e38, 3.4028235e38).
    void get_bounding_rect(zarn_fpoint_s& min, zarn_fpoint_s& max) const;

    // ---- Shapes: replace the knots and empty the vertex list; without memory the path is empty ---------------------

    /// A closed path of five knots of state 1: right, bottom, left, top, right.
    void create_ellipse(const zarn_fpoint_s& centre, float width, float height);

    /// A closed path that starts at the top left and goes right. Without a positive radius: five knots of state 3, the
    /// corners. With one, which is cut to half the shorter side: nine knots of state 4, starting at the left end of the
    /// top edge. The signs of width and height do not count.
    void create_rect(const zarn_fpoint_s& centre, float width, float height, float corner_radius);

    /// A closed path of count + 1 knots of state 3 on a circle, starting above the centre, turned by start_angle in
    /// radians. An empty, open path for a count of 0 and for one above 16777216, from where on the float angles of
    /// neighbouring corners are the same.
    void create_polygon(const zarn_fpoint_s& centre, unsigned int count, float radius, float start_angle);

    // ---- Transforms ------------------------------------------------------------------------------------------------
    //
    // Box means the bounds of the vertices as get_bounding_rect() reports them. All but translate_relative() and a
    // rotate(0) first call build_vertex_list(1.0) when there are no vertices, and do nothing when none come of that.

    /// Moves knots and vertices, so that the box's minimum corner lies at `to`.
    void translate(const zarn_fpoint_s& to);
    /// Moves knots and vertices by an offset.
    void translate_relative(const zarn_fpoint_s& by);
    /// Scales the knots about the box's minimum corner. The vertices stay: build them again.
    void scale(float sx, float sy);
    /// Turns the knots about the box's centre by an angle in radians: from the x axis towards the y axis, clockwise on
    /// a picture. The vertices stay: build them again.
    void rotate(double angle);
    /// Mirror knots and vertices about the box's centre.
    void flip_horizontal();
    void flip_vertical();

    /// 1 when a segment passes the point at a distance of at most `tolerance`; `segment` becomes the nearest one, the
    /// first of several. Else 0, and `segment` stays. Measures the curves, flattened at scale 1, not the vertex list.
    unsigned int is_collision(const zarn_fpoint_s& point, float tolerance, unsigned int& segment) const;

    // ---- Drawing ---------------------------------------------------------------------------------------------------
    //
    // Draws the vertex list with anti-aliasing: coverage of a pixel counts from 0 to 255.
    //
    // stroke 0: the vertices are a polygon, filled; it closes by itself. For a hole set_vertex_list() with the
    // outline's vertices and its first again, the hole's and its first again, and the outline's first, and draw with
    // even_odd 1. Otherwise a line of line_width pixels follows them, with round joins and caps; a line_width not above
    // 0 draws nothing. Vertices whose last one equals the first make a line without ends. even_odd 0: overlapping parts
    // are filled (non-zero winding); otherwise they cancel each other out, parts of one line too.
    //
    // A colour's alpha and a value are scaled by coverage / 255, truncated. Values and alpha given as unsigned int are
    // cut to the bits of the image's depth. image_type is the depth of the image made: 0, 1, 2 for 8, 16, 32 bits.
    //
    // All return 1, or 0 without a message for: no vertices, a coordinate or line width that is not finite, a side of
    // the new image above 2147483647, an image_type above 2, an existing image that is not valid; the image is not
    // touched then. Also for too little memory for the drawing: the new image is empty then, an existing one unchanged
    // or, where the drawing is very large, drawn in part.

    /// Creates the image, upper left, as large as the shape with a margin of half the line width and 3 pixels
    /// (fractions go right and below), and draws the coverage as alpha: red, green and blue are the colour's
    /// everywhere. `offset` is where the path has the image's top left corner, truncated, negative coordinates in two's
    /// complement. When the image cannot be created: 0, its message stands on the image's error stack.
    unsigned int rasterize_to_image(std::uint8_t stroke, double line_width, const zarn_pixel_8_s& colour, int even_odd,
                                    zarn_image_8& image, zarn_point_s& offset);
    unsigned int rasterize_to_image(std::uint8_t stroke, double line_width, const zarn_pixel_16_s& colour, int even_odd,
                                    zarn_image_16& image, zarn_point_s& offset);
    /// The coverage scales the value, from 0 outside the shape.
    unsigned int rasterize_to_image(std::uint8_t stroke, double line_width, unsigned int value, unsigned int image_type,
                                    int even_odd, zarn_image_channel& image, zarn_point_s& offset);
    /// The value everywhere, the coverage scales the alpha.
    unsigned int rasterize_to_image(std::uint8_t stroke, double line_width, unsigned int value, unsigned int alpha,
                                    unsigned int image_type, int even_odd, zarn_image_grayscale& image,
                                    zarn_point_s& offset);

    /// Composites the shape onto the image as blit() does with ZARN_BLEND_NORMAL: the alpha is the source's, on a
    /// channel image coverage / 255 is the opacity. Vertices are picture coordinates; what lies outside is cut off.
    /// image_type is not read. As in any blend, edges on a transparent image take up the colour that it holds: give it
    /// the path's own before, by clear(colour, 0).
    unsigned int rasterize_to_image_existing(std::uint8_t stroke, double line_width, const zarn_pixel_8_s& colour,
                                             int even_odd, zarn_image_8& image);
    unsigned int rasterize_to_image_existing(std::uint8_t stroke, double line_width, const zarn_pixel_16_s& colour,
                                             int even_odd, zarn_image_16& image);
    unsigned int rasterize_to_image_existing(std::uint8_t stroke, double line_width, unsigned int value,
                                             unsigned int image_type, int even_odd, zarn_image_channel& image);
    unsigned int rasterize_to_image_existing(std::uint8_t stroke, double line_width, unsigned int value,
                                             unsigned int alpha, unsigned int image_type, int even_odd,
                                             zarn_image_grayscale& image);

private:
    void ___auto_calculate_tangents();
    // After an edit: an open path whose ends meet is closed.
    void ___close_if_ends_meet();
    // On a closed path the other end of knot `index`; the same knot elsewhere.
    unsigned int ___twin(unsigned int index) const;
    bool ___box(zarn_fpoint_s& min, zarn_fpoint_s& max);
    template <class Map>
    void ___map_knots(Map map);
    template <class Map>
    void ___map_vertices(Map map);

    zarn_list<zarn_bezier_knot_s> ___knots;
    unsigned int ___closed;
    zarn_list<zarn_fpoint_s> ___vertices; // the polyline last built
};

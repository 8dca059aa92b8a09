#pragma once

#include <cstdint>

namespace TARN_KEL {

/// The triangles at each vertex: for every vertex a doubly linked list of the corners of its triangles.
///
/// Vertices and corners are named by dense 32-bit numbers; corner 3t+k is corner k of triangle t, so a corner's number
/// divided by 3 is its triangle. A list keeps the order in which its corners were appended. Both ends of a list link to the
/// vertex itself, so a corner is removed in O(1) however many triangles a vertex has, and needn't know its vertex.
///
/// The links are stored with the elements. The owner passes an access object to the operations:
///     IncidenceLink& cornerLink(std::uint32_t corner);   // links of a corner
///     IncidenceLink& vertexLink(std::uint32_t vertex);   // next: first corner of the list, prev: last one
/// and initialises the link of a vertex by emptyList(). Walking changes nothing and may run on several threads.
struct IncidenceLink {
    std::uint32_t next;
    std::uint32_t prev;
};

namespace Incidence {

/// Marks a link that leads back to the vertex. Vertices and corners have numbers below this.
inline constexpr std::uint32_t VERTEX = 0x80000000U;

/// The link of a vertex without triangles.
inline IncidenceLink emptyList(std::uint32_t vertex) {
    return {vertex | VERTEX, vertex | VERTEX};
}

inline bool isEmpty(const IncidenceLink& vertexLink) {
    return (vertexLink.next & VERTEX) != 0;
}

/// The links of the element with that number, a corner or (with the mark) a vertex.
template <typename Access>
IncidenceLink& link(Access& access, std::uint32_t number) {
    return (number & VERTEX) != 0 ? access.vertexLink(number & ~VERTEX) : access.cornerLink(number);
}

/// Appends a corner that is in no list to the list of the vertex.
template <typename Access>
void append(Access& access, std::uint32_t vertex, std::uint32_t corner) {
    IncidenceLink& vertexLink = access.vertexLink(vertex);
    const std::uint32_t last = vertexLink.prev;
    vertexLink.prev = corner;
    link(access, last).next = corner;
    access.cornerLink(corner) = {vertex | VERTEX, last};
}

/// Removes a corner from its list. Its own links aren't changed.
/// Returns false when it is in no list: then the corners that it links to don't link back.
template <typename Access>
bool unlink(Access& access, std::uint32_t corner) {
    const IncidenceLink own = access.cornerLink(corner);
    IncidenceLink& before = link(access, own.prev);
    IncidenceLink& behind = link(access, own.next);
    if (before.next != corner || behind.prev != corner) return false;
    before.next = own.next;
    behind.prev = own.prev;
    return true;
}

/// Appends the list of one vertex to that of another one, and leaves the first one empty. The two must differ. Cost: O(1).
template <typename Access>
void moveAll(Access& access, std::uint32_t from, std::uint32_t to) {
    IncidenceLink& fromLink = access.vertexLink(from);
    IncidenceLink& toLink = access.vertexLink(to);
    if (isEmpty(fromLink)) return;
    link(access, toLink.prev).next = fromLink.next;
    access.cornerLink(fromLink.next).prev = toLink.prev;
    access.cornerLink(fromLink.prev).next = to | VERTEX;
    toLink.prev = fromLink.prev;
    fromLink = emptyList(from);
}

/// Calls visit(triangle) for the triangles at a vertex in the order of appending. visit must not change the lists.
template <typename Access, typename Visit>
void forEachTriangle(Access& access, std::uint32_t vertex, Visit&& visit) {
    for (std::uint32_t corner = access.vertexLink(vertex).next; (corner & VERTEX) == 0;
         corner = access.cornerLink(corner).next)
        visit(corner / 3);
}

/// The same from the last one backwards, as long as visit(triangle) returns true.
template <typename Access, typename Visit>
void forEachTriangleFromLast(Access& access, std::uint32_t vertex, Visit&& visit) {
    for (std::uint32_t corner = access.vertexLink(vertex).prev; (corner & VERTEX) == 0;
         corner = access.cornerLink(corner).prev)
        if (!visit(corner / 3)) return;
}

}  // namespace Incidence
}  // namespace TARN_KEL

"""A walk through a tree, on which each answer is held against the others."""
from lxml import etree

from harness import upnp


def is_container(element):
    return element.tag == upnp.DIDL + "container"


def _told(element):
    """What is said of an object wherever it stands: all of an item, of a container what does not depend on the place."""
    if not is_container(element):
        return etree.tostring(element, with_tail=False)
    # Smart playlists are marked in lists only.
    title, object_class = element.findtext(upnp.DC + "title").removeprefix("@"), element.findtext(upnp.UPNP + "class")
    # The entry that gathers a whole level looks like its neighbours in the list, and is a plain container by itself.
    return element.get("id"), element.get("parentID"), title, object_class if not title.startswith("= ") else None


def _told_all(pages):
    return [_told(element) for page in pages for element in page.elements]


def check_walk(test, server, top="0", with_counts=False, every_item=True):
    """Numbers are true, pages joined are the whole, and every id leads back. Gives the containers below, and the items."""
    waiting, containers, items = [top], [], []
    while waiting:
        object_id = waiting.pop(0)
        page = server.browse(object_id)
        size = 3 if page.total < 30 else 37
        with test.subTest(object_id):
            test.assertEqual((page.returned, page.total), (len(page.elements),) * 2)
            test.assertEqual(len({element.get("id") for element in page.elements}), page.total)
            pieces = [server.browse(object_id, start=start, count=size) for start in range(0, page.total, size)]
            test.assertEqual(_told_all(pieces), _told_all([page]))
            test.assertEqual({piece.total for piece in pieces} - {page.total}, set())
            test.assertEqual(server.browse(object_id, start=page.total, count=size).returned, 0)
            if with_counts:
                itself, = server.browse(object_id, "BrowseMetadata").elements
                test.assertEqual(itself.get("childCount"), str(page.total))
            for place, element in enumerate(page.elements):
                test.assertEqual(element.get("parentID"), object_id)
                if not (every_item or is_container(element) or place in (0, page.total - 1)):
                    continue
                alone = server.browse(element.get("id"), "BrowseMetadata")
                test.assertEqual((alone.returned, alone.total), (1, 1))
                if is_container(element) or element.get("id").startswith(object_id):
                    test.assertEqual(_told(alone.elements[0]), _told(element))
                else:  # a song of a playlist, which by itself is one of all songs
                    test.assertEqual(alone.elements[0].get("id"), element.get("id"))
        inner = [element for element in page.elements if is_container(element)]
        waiting += [element.get("id") for element in inner]
        containers += inner
        items += [element for element in page.elements if not is_container(element)]
    test.assertEqual(len({element.get("id") for element in containers}), len(containers), "an identifier names two containers")
    return containers, items

(function () {
  "use strict";
  var ORDER = "fsnp";
  var LABEL = { f: "failed", s: "stale", n: "never reported", p: "passed" };
  var NAME = { f: "failed", s: "stale", n: "never", p: "passed" };
  var SYMBOL = { f: "\u2717", s: "\u25f7", n: "\u2013", p: "\u2713" };
  var GROUP = { f: "Failing hosts", s: "Hosts with stale results",
                n: "Hosts missing a provider", p: "Healthy hosts" };
  var ROW = 20;    // pixels per body row, as the style sheet says
  var SPARE = 20;  // rows made above and below the view
  var data = JSON.parse(document.getElementById("cells").textContent);
  var grid = document.getElementById("grid");
  var body = grid.tBodies[0];
  var tip = document.getElementById("tip");
  var width = data.providers.length;
  var filter = { provider: -1, state: "" };
  var columns = [];   // provider indexes shown
  var items = [];     // body rows: { group: state, size: hosts } or { host: index }
  var position = [];  // host index -> item index, -1 when filtered out
  var at = { host: -1, column: 0 };  // the one cell that Tab reaches
  var scheduled = false;

  function zero() { return { f: 0, s: 0, n: 0, p: 0 }; }
  function countText(counts) {
    return ORDER.split("").filter(function (s) { return counts[s] > 0; })
      .map(function (s) { return counts[s] + SYMBOL[s]; }).join(" ");
  }
  function escaped(text) {
    return text.replace(/[&<>"]/g, function (c) { return "&#" + c.charCodeAt(0) + ";"; });
  }

  var totals = zero();
  var perProvider = data.providers.map(zero);
  var hostCounts = data.states.map(function (states) {
    var counts = zero();
    for (var k = 0; k < width; k++) {
      var s = states.charAt(k);
      counts[s]++;
      perProvider[k][s]++;
      totals[s]++;
    }
    return countText(counts);
  });
  var providerCells = grid.tHead.rows[1].cells;
  perProvider.forEach(function (counts, k) {
    providerCells[k + 1].textContent = countText(counts);
  });
  var summary = document.getElementById("totals");
  summary.textContent = data.hosts.length * width + " cells: " + ORDER.split("").map(function (s) {
    summary.dataset[NAME[s]] = totals[s];
    return totals[s] + " " + SYMBOL[s] + " " + LABEL[s];
  }).join(", ");

  // The worst state of host i among the shown providers.
  function worst(i) {
    var states = data.states[i];
    var best = 3;
    for (var c = 0; c < columns.length; c++) {
      best = Math.min(best, ORDER.indexOf(states.charAt(columns[c])));
    }
    return ORDER.charAt(best);
  }

  function rebuild() {
    columns = [];
    for (var k = 0; k < width; k++) {
      if (filter.provider < 0 || filter.provider === k) columns.push(k);
    }
    var hosts = [];
    for (var i = 0; i < data.hosts.length; i++) {
      var state = worst(i);
      var shown = !filter.state;
      for (var c = 0; !shown && c < columns.length; c++) {
        shown = data.states[i].charAt(columns[c]) === filter.state;
      }
      if (shown) hosts.push({ host: i, state: state });
    }
    // Failing hosts first; the order of the names within a group stays.
    hosts.sort(function (a, b) { return ORDER.indexOf(a.state) - ORDER.indexOf(b.state); });
    items = [];
    position = data.hosts.map(function () { return -1; });
    var group = null;
    hosts.forEach(function (entry) {
      if (!group || group.group !== entry.state) {
        group = { group: entry.state, size: 0 };
        items.push(group);
      }
      group.size++;
      position[entry.host] = items.length;
      items.push({ host: entry.host });
    });
    Array.prototype.forEach.call(grid.tHead.rows, function (row) {
      for (var k = 0; k < width; k++) row.cells[k + 1].hidden = columns.indexOf(k) < 0;
    });
    grid.className = filter.state ? "only-" + filter.state : "";
    grid.setAttribute("aria-rowcount", items.length + 2);
    document.getElementById("shown").textContent =
      "showing " + hosts.length + " of " + data.hosts.length + " hosts";
    if (at.host < 0 || position[at.host] < 0) at.host = hosts.length ? hosts[0].host : -1;
    if (columns.indexOf(at.column) < 0) at.column = columns[0];
    render();
  }

  function spacer(rows) {
    return rows <= 0 ? "" : '<tr class="gap" aria-hidden="true" style="height:' + rows * ROW +
      'px"><td colspan="' + (columns.length + 2) + '"></td></tr>';
  }
  function bodyTop() { return body.getBoundingClientRect().top + window.scrollY; }

  // Makes the rows in view (and SPARE more on each side); the rest of the
  // body is two empty rows of the right height.
  function render() {
    scheduled = false;
    var first = Math.max(0, Math.floor((window.scrollY - bodyTop()) / ROW) - SPARE);
    first = Math.min(first, Math.max(0, items.length - 1));
    var last = Math.min(items.length, first + Math.ceil(window.innerHeight / ROW) + 2 * SPARE);
    var focused = document.activeElement && document.activeElement.parentNode &&
      document.activeElement.parentNode.parentNode === body;
    var html = spacer(first);
    for (var n = first; n < last; n++) {
      var item = items[n];
      if (item.host === undefined) {
        html += '<tr class="group" aria-rowindex="' + (n + 3) + '"><th colspan="' +
          (columns.length + 2) + '" scope="rowgroup">' + GROUP[item.group] + " (" + item.size +
          ")</th></tr>";
        continue;
      }
      var i = item.host;
      var states = data.states[i];
      html += '<tr data-i="' + i + '" aria-rowindex="' + (n + 3) + '"><th scope="row">' +
        escaped(data.hosts[i]) + "</th>";
      for (var c = 0; c < columns.length; c++) {
        var s = states.charAt(columns[c]);
        html += '<td class="' + s + '"' +
          (i === at.host && columns[c] === at.column ? ' tabindex="0"' : "") + ">" + SYMBOL[s] +
          "</td>";
      }
      html += '<td class="hc">' + hostCounts[i] + "</td></tr>";
    }
    body.innerHTML = html + spacer(items.length - last);
    var target = body.querySelector('td[tabindex="0"]');
    if (target) {
      if (focused) target.focus({ preventScroll: true });
    } else {
      // The cell Tab reaches scrolled away: the first one in view takes its place.
      var row = body.querySelector("tr[data-i]");
      if (row) {
        at = { host: +row.dataset.i, column: columns[0] };
        row.cells[1].tabIndex = 0;
      }
    }
  }

  function schedule() {
    if (!scheduled) {
      scheduled = true;
      window.requestAnimationFrame(render);
    }
  }
  window.addEventListener("scroll", schedule, { passive: true });
  window.addEventListener("resize", schedule);

  function isCell(node) {
    return node && node.tagName === "TD" && node.parentNode.dataset.i !== undefined &&
      node.cellIndex >= 1 && node.cellIndex <= columns.length;
  }
  function place(td) { return { host: +td.parentNode.dataset.i, column: columns[td.cellIndex - 1] }; }

  function pad(n) { return n < 10 ? "0" + n : "" + n; }
  function when(seconds) {
    var d = new Date(seconds * 1000);
    return d.getFullYear() + "-" + pad(d.getMonth() + 1) + "-" + pad(d.getDate()) + " " +
      pad(d.getHours()) + ":" + pad(d.getMinutes()) + ":" + pad(d.getSeconds());
  }
  function age(seconds) {
    var minutes = Math.round(seconds / 60);
    return minutes < 120 ? minutes + " min" : Math.round(minutes / 60) + " h";
  }

  function details(td) {
    var where = place(td);
    var cell = data.cells[where.host][where.column];
    var lines = [data.hosts[where.host] + " \u00b7 " + data.providers[where.column]];
    if (!cell) {
      lines.push(SYMBOL.n + " never reported");
      return lines;
    }
    var s = td.className;
    lines.push(SYMBOL[s] + " " + LABEL[s] + ", exit status " + cell[1]);
    lines.push(when(data.now - cell[0]) + " (" + age(cell[0]) + " before the report), took " +
      cell[2] + " s");
    if (cell.length > 5) {
      lines.push("failing since " + when(data.now - cell[5]) + " (" + age(cell[5]) +
        " before the report)");
    }
    lines.push("datastore " + data.datastores[cell[3]]);
    if (cell[4]) lines.push(cell[4]);
    return lines;
  }

  function show(td) {
    var lines = details(td);
    tip.textContent = lines.join("\n");
    td.setAttribute("aria-label", lines.slice(0, 2).join(": "));
    td.setAttribute("aria-describedby", "tip");
    tip.hidden = false;
    var box = td.getBoundingClientRect();
    var left = Math.min(box.right + 6, document.documentElement.clientWidth - tip.offsetWidth - 4);
    tip.style.left = Math.max(0, left) + window.scrollX + "px";
    tip.style.top = box.bottom + 4 + window.scrollY + "px";
  }

  grid.addEventListener("mouseover", function (event) {
    if (isCell(event.target)) show(event.target);
  });
  grid.addEventListener("mouseleave", function () { tip.hidden = true; });
  grid.addEventListener("focusin", function (event) {
    if (isCell(event.target)) {
      at = place(event.target);
      show(event.target);
    }
  });
  grid.addEventListener("focusout", function () { tip.hidden = true; });
  grid.addEventListener("click", function (event) {
    var td = event.target;
    if (!isCell(td)) return;
    var old = body.querySelector('td[tabindex="0"]');
    if (old) old.removeAttribute("tabindex");
    td.tabIndex = 0;
    td.focus();
  });

  // Scrolls the window so that item n is in view below the sticky header.
  function reveal(n) {
    var y = bodyTop() + n * ROW;
    var header = grid.tHead.offsetHeight;
    if (y - header < window.scrollY) {
      window.scrollTo(window.scrollX, y - header);
    } else if (y + ROW > window.scrollY + window.innerHeight) {
      window.scrollTo(window.scrollX, y + ROW - window.innerHeight);
    }
  }

  // The host item `delta` rows from item n, skipping group headings.
  function step(n, delta) {
    var target = Math.max(0, Math.min(items.length - 1, n + delta));
    var direction = delta < 0 ? -1 : 1;
    while (items[target].host === undefined) {
      target += direction;
      if (target < 0 || target >= items.length) return n;
    }
    return target;
  }

  grid.addEventListener("keydown", function (event) {
    if (!isCell(event.target)) return;
    var n = position[at.host];
    var c = columns.indexOf(at.column);
    var page = Math.max(1, Math.floor(window.innerHeight / ROW) - 12);
    var move = {
      ArrowLeft: [n, Math.max(c - 1, 0)],
      ArrowRight: [n, Math.min(c + 1, columns.length - 1)],
      Home: [n, 0],
      End: [n, columns.length - 1],
      ArrowUp: [step(n, -1), c],
      ArrowDown: [step(n, 1), c],
      PageUp: [step(n, -page), c],
      PageDown: [step(n, page), c]
    }[event.key];
    if (!move) return;
    event.preventDefault();
    at = { host: items[move[0]].host, column: columns[move[1]] };
    reveal(move[0]);
    render();
    body.querySelector('td[tabindex="0"]').focus({ preventScroll: true });
  });

  document.getElementById("provider").addEventListener("change", function (event) {
    filter.provider = event.target.selectedIndex - 1;
    rebuild();
  });
  document.getElementById("states").addEventListener("click", function (event) {
    var button = event.target.closest("button");
    if (!button) return;
    filter.state = button.dataset.state;
    Array.prototype.forEach.call(this.querySelectorAll("button"), function (b) {
      b.setAttribute("aria-pressed", b === button ? "true" : "false");
    });
    rebuild();
  });

  rebuild();
  // For whoever measures the page: the first frame that shows the grid.
  window.requestAnimationFrame(function () {
    setTimeout(function () { performance.mark("vexa-report-painted"); }, 0);
  });
})();

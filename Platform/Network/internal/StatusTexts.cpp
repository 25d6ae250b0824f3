#include "Platform/Network/internal/StatusTexts.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "Platform/Text/NSLocale.h"

namespace qz::internal {

namespace {

constexpr std::array<std::string_view, 4> languages{"en", "de", "fr", "es"};

struct StatusText {
    std::int64_t status;
    std::array<std::string_view, languages.size()> texts;
};

// Sorted by status; RFC 9110, section 15, RFC 6585 for 429.
constexpr StatusText statusTexts[] = {
    {100, {"continue", "weiter", "continuer", "continuar"}},
    {101, {"switching protocols", "Protokollwechsel", "changement de protocole", "cambio de protocolo"}},
    {200, {"no error", "kein Fehler", "aucune erreur", "sin errores"}},
    {201, {"created", "angelegt", "créé", "creado"}},
    {202, {"accepted", "angenommen", "accepté", "aceptado"}},
    {203,
     {"non authoritative information", "nicht verbindliche Angaben", "information non certifiée",
      "información no autorizada"}},
    {204, {"no content", "kein Inhalt", "aucun contenu", "sin contenido"}},
    {205, {"reset content", "Inhalt zurückgesetzt", "contenu réinitialisé", "contenido restablecido"}},
    {206, {"partial content", "Teilinhalt", "contenu partiel", "contenido parcial"}},
    {300, {"multiple choices", "mehrere Möglichkeiten", "choix multiples", "opciones múltiples"}},
    {301, {"moved permanently", "dauerhaft verschoben", "déplacé définitivement", "movido permanentemente"}},
    {302, {"found", "gefunden", "trouvé", "encontrado"}},
    {303, {"see other", "siehe andere Adresse", "voir ailleurs", "ver otra dirección"}},
    {304, {"not modified", "nicht verändert", "non modifié", "no modificado"}},
    {305, {"needs proxy", "Proxy erforderlich", "proxy nécessaire", "se necesita un proxy"}},
    {307,
     {"temporarily redirected", "vorübergehend umgeleitet", "redirigé temporairement",
      "redirigido temporalmente"}},
    {308,
     {"permanently redirected", "dauerhaft umgeleitet", "redirigé définitivement",
      "redirigido permanentemente"}},
    {400, {"bad request", "fehlerhafte Anfrage", "requête incorrecte", "solicitud incorrecta"}},
    {401, {"unauthorized", "nicht angemeldet", "non autorisé", "no autorizado"}},
    {402, {"payment required", "Bezahlung erforderlich", "paiement requis", "se requiere un pago"}},
    {403, {"forbidden", "verboten", "interdit", "prohibido"}},
    {404, {"not found", "nicht gefunden", "introuvable", "no encontrado"}},
    {405, {"method not allowed", "Methode nicht erlaubt", "méthode non autorisée", "método no permitido"}},
    {406, {"unacceptable", "nicht annehmbar", "inacceptable", "inaceptable"}},
    {407,
     {"proxy authentication required", "Anmeldung am Proxy erforderlich", "authentification du proxy requise",
      "se requiere autenticación del proxy"}},
    {408,
     {"request timed out", "Zeitüberschreitung der Anfrage", "délai de la requête dépassé",
      "tiempo de espera agotado"}},
    {409, {"conflict", "Konflikt", "conflit", "conflicto"}},
    {410, {"no longer exists", "nicht mehr vorhanden", "n’existe plus", "ya no existe"}},
    {411, {"length required", "Längenangabe erforderlich", "longueur requise", "se requiere la longitud"}},
    {412,
     {"precondition failed", "Vorbedingung nicht erfüllt", "condition préalable non remplie",
      "condición previa no cumplida"}},
    {413, {"request too large", "Anfrage zu groß", "requête trop volumineuse", "solicitud demasiado grande"}},
    {414,
     {"requested URL too long", "angefragte Adresse zu lang", "adresse demandée trop longue",
      "dirección solicitada demasiado larga"}},
    {415,
     {"unsupported media type", "nicht unterstützter Medientyp", "type de média non pris en charge",
      "tipo de medio no admitido"}},
    {416,
     {"requested range not satisfiable", "angefragter Bereich nicht erfüllbar",
      "plage demandée non satisfaisante", "rango solicitado no satisfacible"}},
    {417, {"expectation failed", "Erwartung nicht erfüllt", "attente non satisfaite", "expectativa fallida"}},
    {429, {"too many requests", "zu viele Anfragen", "trop de requêtes", "demasiadas solicitudes"}},
    {500,
     {"internal server error", "interner Serverfehler", "erreur interne du serveur",
      "error interno del servidor"}},
    {501, {"unimplemented", "nicht implementiert", "non implémenté", "no implementado"}},
    {502, {"bad gateway", "fehlerhaftes Gateway", "passerelle incorrecte", "puerta de enlace incorrecta"}},
    {503,
     {"service unavailable", "Dienst nicht verfügbar", "service indisponible", "servicio no disponible"}},
    {504,
     {"gateway timed out", "Zeitüberschreitung des Gateways", "délai de la passerelle dépassé",
      "tiempo de espera de la puerta de enlace agotado"}},
    {505,
     {"unsupported version", "nicht unterstützte Version", "version non prise en charge",
      "versión no admitida"}},
};

// For statuses that are not above, by their hundreds.
constexpr StatusText classTexts[] = {
    {1, {"informational", "Hinweis", "information", "informativo"}},
    {2, {"success", "Erfolg", "succès", "correcto"}},
    {3, {"redirected", "umgeleitet", "redirigé", "redirigido"}},
    {4, {"client error", "Fehler der Anfrage", "erreur du client", "error del cliente"}},
    {5, {"server error", "Serverfehler", "erreur du serveur", "error del servidor"}},
};

/// The index of the first of the user's languages that there are texts in; English is always one.
std::size_t preferredLanguage() {
    for (const auto& tag : NSLocale::preferredLanguages()) {
        const auto* const found = std::find(languages.begin(), languages.end(), tag.substr(0, tag.find('-')));
        if (found != languages.end()) {
            return static_cast<std::size_t>(found - languages.begin());
        }
    }
    return 0;
}

template <std::size_t N>
const StatusText* find(const StatusText (&table)[N], std::int64_t status) {
    const auto* const found = std::lower_bound(std::begin(table), std::end(table), status,
                                               [](const auto& row, auto key) { return row.status < key; });
    return found != std::end(table) && found->status == status ? found : nullptr;
}

}  // namespace

std::string statusText(std::int64_t statusCode) {
    const auto* text = find(statusTexts, statusCode);
    if (!text) {
        text = find(classTexts, statusCode / 100);
    }
    return text ? std::string(text->texts[preferredLanguage()]) : std::to_string(statusCode);
}

}  // namespace qz::internal

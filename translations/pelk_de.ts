<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de" sourcelanguage="en">
<context>
    <name>CMError</name>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
</context>
<context>
    <name>CMListRowsNode</name>
    <message>
        <source>Invalid range %1 to %2: rows are counted from 0.</source>
        <translation>Ungültiger Bereich %1 bis %2: Zeilen werden ab 0 gezählt.</translation>
    </message>
</context>
<context>
    <name>CMNode</name>
    <message>
        <source>"%1" has no value that can be set as "%2".</source>
        <translation>„%1“ hat keinen Wert, der als „%2“ gesetzt werden kann.</translation>
    </message>
</context>
<context>
    <name>CMNodes</name>
    <message>
        <source>"%1" does not answer this kind of request.</source>
        <translation>„%1“ beantwortet solche Anfragen nicht.</translation>
    </message>
    <message>
        <source>There is nothing at "%1".</source>
        <translation>Unter „%1“ ist nichts zu finden.</translation>
    </message>
</context>
<context>
    <name>CMRootWorker</name>
    <message>
        <source>No service answers at "%1".</source>
        <translation>Unter „%1“ antwortet kein Dienst.</translation>
    </message>
    <message>
        <source>Invalid range: rows are counted from 0.</source>
        <translation>Ungültiger Bereich: Zeilen werden ab 0 gezählt.</translation>
    </message>
    <message>
        <source>The value at "%1" has another type.</source>
        <translation>Der Wert unter „%1“ hat einen anderen Typ.</translation>
    </message>
    <message>
        <source>The value at "%1" can only be set by its own service.</source>
        <translation>Den Wert unter „%1“ kann nur sein eigener Dienst setzen.</translation>
    </message>
    <message>
        <source>The value at "%1" can only be set with the role "value".</source>
        <translation>Der Wert unter „%1“ lässt sich nur über die Rolle „value“ setzen.</translation>
    </message>
    <message>
        <source>There is no operation at "%1".</source>
        <translation>Unter „%1“ gibt es keine Funktion.</translation>
    </message>
</context>
<context>
    <name>ContentClient</name>
    <message>
        <source>"%1" did not respond within %2 seconds.</source>
        <translation>„%1“ hat innerhalb von %2 Sekunden nicht geantwortet.</translation>
    </message>
    <message>
        <source>No complete response from the service. Check your network connection.</source>
        <translation>Keine vollständige Antwort vom Dienst. Bitte die Netzwerkverbindung prüfen.</translation>
    </message>
</context>
<context>
    <name>PanelServer</name>
    <message>
        <source>"%1" has no value to set.</source>
        <translation>„%1“ hat keinen Wert, der sich setzen lässt.</translation>
    </message>
    <message>
        <source>"%1" must be a text.</source>
        <translation>„%1“ muss ein Text sein.</translation>
    </message>
    <message>
        <source>"%1" must be a whole number from %2 to %3.</source>
        <translation>„%1“ muss eine ganze Zahl von %2 bis %3 sein.</translation>
    </message>
    <message>
        <source>"%1" must be true or false.</source>
        <translation>„%1“ muss true oder false sein.</translation>
    </message>
    <message>
        <source>"%1" is only accessible to the player itself.</source>
        <translation>Auf „%1“ kann nur der Player selbst zugreifen.</translation>
    </message>
    <message>
        <source>"entries" must be a list of entry numbers.</source>
        <translation>„entries“ muss eine Liste von Eintragsnummern sein.</translation>
    </message>
    <message>
        <source>"percent" or "muted" is required.</source>
        <translation>„percent“ oder „muted“ muss angegeben sein.</translation>
    </message>
    <message>
        <source>"repeat" must be off, one or all.</source>
        <translation>„repeat“ muss off, one oder all sein.</translation>
    </message>
    <message>
        <source>"repeat" or "shuffle" is required.</source>
        <translation>„repeat“ oder „shuffle“ muss angegeben sein.</translation>
    </message>
    <message>
        <source>"value" must be a tagged value.</source>
        <translation>„value“ muss ein Wert mit Typangabe sein.</translation>
    </message>
    <message>
        <source>"where" must be replace, next or end.</source>
        <translation>„where“ muss replace, next oder end sein.</translation>
    </message>
    <message>
        <source>%1 browsers are connected, which is the limit.</source>
        <translation>%1 Browser sind bereits mit dem Player verbunden; mehr sind nicht möglich.</translation>
    </message>
    <message>
        <source>The method %1 is not allowed here.</source>
        <translation>Die Methode %1 ist hier nicht erlaubt.</translation>
    </message>
    <message>
        <source>Log in with the player's password.</source>
        <translation>Melden Sie sich mit dem Passwort des Players an.</translation>
    </message>
    <message>
        <source>GET and HEAD requests must not have a body.</source>
        <translation>GET- und HEAD-Anfragen dürfen keinen Inhalt haben.</translation>
    </message>
    <message>
        <source>Password required</source>
        <translation>Passwort erforderlich</translation>
    </message>
    <message>
        <source>That device is no longer logged in.</source>
        <translation>Dieses Gerät ist nicht mehr angemeldet.</translation>
    </message>
    <message>
        <source>The password could not be saved.</source>
        <translation>Das Passwort konnte nicht gespeichert werden.</translation>
    </message>
    <message>
        <source>The password needs %1 to %2 characters.</source>
        <translation>Das Passwort muss %1 bis %2 Zeichen lang sein.</translation>
    </message>
    <message>
        <source>The player cannot write its file. Its console output names the file and the reason.</source>
        <translation>Der Player kann seine Datei nicht schreiben. Seine Konsolenausgabe nennt Datei und Grund.</translation>
    </message>
    <message>
        <source>You do not have permission to do this.</source>
        <translation>Sie haben dafür keine Berechtigung.</translation>
    </message>
    <message>
        <source>Too many attempts. Try again in %1 seconds.</source>
        <translation>Zu viele Versuche. Versuchen Sie es in %1 Sekunden erneut.</translation>
    </message>
    <message>
        <source>A POST request must have a JSON body, at least {}, and a Content-Length.</source>
        <translation>Eine POST-Anfrage braucht einen JSON-Inhalt, mindestens {}, und Content-Length.</translation>
    </message>
    <message>
        <source>Request 1 to %1 roles.</source>
        <translation>Bitte 1 bis %1 Rollen anfordern.</translation>
    </message>
    <message>
        <source>Busy</source>
        <translation>Ausgelastet</translation>
    </message>
    <message>
        <source>At most %1 values can be followed.</source>
        <translation>Höchstens %1 Werte lassen sich verfolgen.</translation>
    </message>
    <message>
        <source>Changed in the meantime</source>
        <translation>Inzwischen geändert</translation>
    </message>
    <message>
        <source>No response</source>
        <translation>Keine Antwort</translation>
    </message>
    <message>
        <source>Not allowed</source>
        <translation>Nicht erlaubt</translation>
    </message>
    <message>
        <source>Not found</source>
        <translation>Nicht gefunden</translation>
    </message>
    <message>
        <source>Nothing to play</source>
        <translation>Nichts abzuspielen</translation>
    </message>
    <message>
        <source>Only the role "value" can be set.</source>
        <translation>Nur die Rolle „value“ lässt sich setzen.</translation>
    </message>
    <message>
        <source>Other lists are still being added to the queue. Try again.</source>
        <translation>Andere Listen werden noch in die Warteschlange geladen; bitte noch einmal versuchen.</translation>
    </message>
    <message>
        <source>This is only available through the player's socket file.</source>
        <translation>Das ist nur über die Socket-Datei des Players verfügbar.</translation>
    </message>
    <message>
        <source>Other sites are not allowed to use this player.</source>
        <translation>Andere Websites dürfen diesen Player nicht benutzen.</translation>
    </message>
    <message>
        <source>Pages of "%1" are not allowed to use this player.</source>
        <translation>Seiten von „%1“ dürfen diesen Player nicht benutzen.</translation>
    </message>
    <message>
        <source>That entry is no longer in the queue.</source>
        <translation>Dieser Eintrag ist nicht mehr in der Warteschlange.</translation>
    </message>
    <message>
        <source>The address is too long; the limit is 8 KiB.</source>
        <translation>Die Adresse ist zu lang; höchstens 8 KiB sind möglich.</translation>
    </message>
    <message>
        <source>The body must be a JSON object.</source>
        <translation>Der Inhalt muss ein JSON-Objekt sein.</translation>
    </message>
    <message>
        <source>The body must be application/json.</source>
        <translation>Der Inhalt muss vom Typ application/json sein.</translation>
    </message>
    <message>
        <source>The body is not JSON: %1</source>
        <translation>Der Inhalt ist kein JSON: %1</translation>
    </message>
    <message>
        <source>Too many requests are waiting. Try again.</source>
        <translation>Zu viele Anfragen warten; bitte noch einmal versuchen.</translation>
    </message>
    <message>
        <source>The header is too large; the limit is 16 KiB.</source>
        <translation>Der Kopf der Anfrage ist zu groß; höchstens 16 KiB sind möglich.</translation>
    </message>
    <message>
        <source>&quot;to&quot; must not be before &quot;from&quot;.</source>
        <translation>„to“ darf nicht vor „from“ liegen.</translation>
    </message>
    <message>
        <source>The body is too large; the limit is 64 KiB.</source>
        <translation>Der Inhalt ist zu groß; höchstens 64 KiB sind möglich.</translation>
    </message>
    <message>
        <source>The list contains no playable track.</source>
        <translation>Die Liste enthält keinen Titel, der abgespielt werden kann.</translation>
    </message>
    <message>
        <source>The login could not be saved</source>
        <translation>Die Anmeldung konnte nicht gespeichert werden</translation>
    </message>
    <message>
        <source>The panel is not installed. The player's console output names the folder.</source>
        <translation>Die Bedienoberfläche ist nicht installiert. Die Konsolenausgabe des Players nennt den Ordner.</translation>
    </message>
    <message>
        <source>The history could not be deleted from the player's file. The player's console output names the file and the reason.</source>
        <translation>Der Verlauf konnte nicht aus der Datei des Players gelöscht werden. Die Konsolenausgabe des Players nennt Datei und Grund.</translation>
    </message>
    <message>
        <source>The path is too long.</source>
        <translation>Der Pfad ist zu lang.</translation>
    </message>
    <message>
        <source>The player could not handle the request.</source>
        <translation>Der Player konnte die Anfrage nicht bearbeiten.</translation>
    </message>
    <message>
        <source>The player is shutting down.</source>
        <translation>Der Player wird beendet.</translation>
    </message>
    <message>
        <source>The queue is not complete</source>
        <translation>Die Warteschlange ist unvollständig</translation>
    </message>
    <message>
        <source>The request is not valid HTTP.</source>
        <translation>Die Anfrage ist kein gültiges HTTP.</translation>
    </message>
    <message>
        <source>The request is too large</source>
        <translation>Die Anfrage ist zu groß</translation>
    </message>
    <message>
        <source>Invalid request</source>
        <translation>Ungültige Anfrage</translation>
    </message>
    <message>
        <source>There is no role "%1".</source>
        <translation>Eine Rolle „%1“ gibt es nicht.</translation>
    </message>
    <message>
        <source>There is nothing at "%1".</source>
        <translation>Unter „%1“ ist nichts zu finden.</translation>
    </message>
    <message>
        <source>Either "positionMs" or "byMs" is required.</source>
        <translation>Entweder „positionMs“ oder „byMs“ muss angegeben sein.</translation>
    </message>
    <message>
        <source>Either "entry" or "entries" is required.</source>
        <translation>Entweder „entry“ oder „entries“ muss angegeben sein.</translation>
    </message>
    <message>
        <source>There is nothing to undo.</source>
        <translation>Es gibt nichts rückgängig zu machen.</translation>
    </message>
    <message>
        <source>Either "minutes" or "at" is required.</source>
        <translation>Entweder „minutes“ oder „at“ muss angegeben sein.</translation>
    </message>
    <message>
        <source>"at" must be off, track or queue.</source>
        <translation>„at“ muss off, track oder queue sein.</translation>
    </message>
    <message>
        <source>Seeking is not possible now.</source>
        <translation>Im Augenblick lässt sich nicht spulen.</translation>
    </message>
    <message>
        <source>"%1" is not a host name of this player.</source>
        <translation>„%1“ ist kein Hostname dieses Players.</translation>
    </message>
    <message>
        <source>Method not allowed</source>
        <translation>Methode nicht erlaubt</translation>
    </message>
    <message>
        <source>Wrong password.</source>
        <translation>Falsches Passwort.</translation>
    </message>
    <message>
        <source>Unsupported content type</source>
        <translation>Inhaltstyp nicht unterstützt</translation>
    </message>
</context>
<context>
    <name>PlayEngine</name>
    <message>
        <source>Playback of %1 was interrupted</source>
        <translation>Die Wiedergabe von %1 wurde unterbrochen</translation>
    </message>
    <message>
        <source>%1 cannot be played</source>
        <translation>%1 kann nicht abgespielt werden</translation>
    </message>
    <message>
        <source>Playback resumes here when the audio output is available again. (%1)</source>
        <translation>Die Wiedergabe wird hier fortgesetzt, sobald die Tonausgabe wieder verfügbar ist. (%1)</translation>
    </message>
    <message>
        <source>Audio output lost</source>
        <translation>Tonausgabe nicht mehr verfügbar</translation>
    </message>
</context>
<context>
    <name>QueueLoader</name>
    <message>
        <source>The list is too long: only its first %1 rows were checked.</source>
        <translation>Die Liste ist zu lang: Nur ihre ersten %1 Zeilen wurden geprüft.</translation>
    </message>
    <message>
        <source>The queue is full: it holds %1 tracks.</source>
        <translation>Die Warteschlange ist voll: Sie fasst %1 Titel.</translation>
    </message>
</context>
<context>
    <name>StreamPlayer</name>
    <message>
        <source>No data was received for %1 seconds. Check your network connection.</source>
        <translation>Seit %1 Sekunden wurden keine Daten empfangen. Bitte die Netzwerkverbindung prüfen.</translation>
    </message>
    <message>
        <source>The connection was lost too many times.</source>
        <translation>Die Verbindung ist zu oft abgebrochen.</translation>
    </message>
    <message>
        <source>The stream did not begin within %1 seconds.</source>
        <translation>Der Stream hat innerhalb von %1 Sekunden nicht begonnen.</translation>
    </message>
    <message>
        <source>The stream is not playable: this audio format is not supported. (%1)</source>
        <translation>Dieses Audioformat wird nicht unterstützt. (%1)</translation>
    </message>
    <message>
        <source>This stream is not playable: its address must begin with http:// or https://.</source>
        <translation>Dieser Stream kann nicht abgespielt werden: Seine Adresse muss mit http:// oder https:// beginnen.</translation>
    </message>
    <message>
        <source>This stream is not playable: its server redirects to an address that does not begin with http:// or https://.</source>
        <translation>Dieser Stream kann nicht abgespielt werden: Sein Server leitet zu einer Adresse weiter, die nicht mit http:// oder https:// beginnt.</translation>
    </message>
</context>
<context>
    <name>TrackResolver</name>
    <message>
        <source>No stream is available for this track.</source>
        <translation>Für diesen Titel ist kein Stream verfügbar.</translation>
    </message>
</context>
</TS>
